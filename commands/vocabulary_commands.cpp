#include "commands/vocabulary_commands.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/task_lookup.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

CommandResponse usage(const CommandRequest& request) {
    return refusal(request, ExitCode::usage,
                   "Usage: tolvik vocabulary add TERM | edit TERM | delete TERM | import FILE | list\n"
                   "More with: tolvik vocabulary --help");
}

struct Wanted {
    std::optional<Identifier> tagId;
    std::string name;
};

Result<Wanted, CommandResponse> projectNamed(const AppStore& store, const CommandRequest& request,
                                             const std::string& name) {
    const auto lookup = lookUpProject(store.tags(), name);
    if (lookup.found != nullptr) {
        return Wanted{lookup.found->id, lookup.found->name};
    }
    std::string why = fmt::format("There is no project “{}”. All of them: tolvik project list", oneLine(name));
    if (!lookup.candidates.empty()) {
        why = fmt::format("“{}” fits several projects. Write more of the name, or the id:", oneLine(name));
        for (const TagModel* one : lookup.candidates) {
            why += fmt::format("\n  {}  {}", one->id.text(), oneLine(one->name));
        }
    }
    return failure(refusal(request, ExitCode::nothing, why));
}

/// One use of the command, on the dictionary that its options name.
class Run {
public:
    Run(DictionaryManager& dictionary, const AppStore& store, const CommandRequest& request, Wanted wanted)
        : dictionary_(dictionary), store_(store), request_(request), wanted_(std::move(wanted)) {}

    CommandResponse list() const {
        Json all = Json::array();
        std::string lines;
        std::size_t width = 0;
        const auto listed = [&](const DictEntry& entry) {
            return !request_.has("project") || entry.tagId == wanted_.tagId;
        };
        for (const DictEntry& entry : dictionary_.entries()) {
            width = listed(entry) ? std::max(width, displayWidth(oneLine(entry.term))) : width;
        }
        constexpr std::size_t widest = 40;
        for (const DictEntry& entry : dictionary_.entries()) {
            if (!listed(entry)) {
                continue;
            }
            const std::string project = projectName(entry.tagId);
            all.push_back(Json{{"id", entry.id.text()},
                               {"term", entry.term},
                               {"hint", entry.hint},
                               {"projectId", entry.tagId ? Json(entry.tagId->text()) : Json()},
                               {"projectName", entry.tagId ? Json(project) : Json()}});
            std::string line = padded(oneLine(entry.term), std::min(width, widest)) + "  " + oneLine(entry.hint);
            if (entry.tagId && !request_.has("project")) {
                line += "  [" + oneLine(project) + "]";
            }
            lines += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
        }
        if (request_.has("json")) {
            return {ExitCode::done, dumped(all), {}};
        }
        return {ExitCode::done,
                lines.empty() ? "No terms yet. Add one: tolvik vocabulary add TERM --hint TEXT\n" : lines,
                {}};
    }

    CommandResponse add(const std::string& term) {
        if (const DictEntry* there = dictionary_.find(term, wanted_.tagId)) {
            return told("none", *there, "Already there: " + shown(*there), ExitCode::nothing);
        }
        const auto id = dictionary_.addTerm(term, request_.option("hint").value_or(""), wanted_.tagId);
        return id ? told("add", entryOf(*id), "Added: " + shown(entryOf(*id)))
                  : refusal(request_, ExitCode::usage, "A term cannot be empty.");
    }

    CommandResponse edit(const std::string& name) {
        if (!request_.has("term") && !request_.has("hint")) {
            return refusal(request_, ExitCode::usage, "What shall change? Give --term TERM or --hint TEXT.");
        }
        const DictEntry* entry = named(name);
        if (entry == nullptr) {
            return notFound(name);
        }
        const DictEntry before = *entry;
        const std::string term = request_.option("term").value_or(before.term);
        if (trimmed(term).empty()) {
            return refusal(request_, ExitCode::usage, "A term cannot be empty.");
        }
        if (const DictEntry* other = dictionary_.find(term, before.tagId); other != nullptr && other->id != before.id) {
            return told("none", *other, "Already there: " + shown(*other), ExitCode::nothing);
        }
        dictionary_.editTerm(before.id, term, request_.option("hint").value_or(before.hint));
        const DictEntry after = entryOf(before.id);
        return after == before ? told("none", after, "Nothing to change: " + shown(after), ExitCode::nothing)
                               : told("edit", after, "Changed: " + shown(after));
    }

    CommandResponse remove(const std::string& name) {
        const DictEntry* entry = named(name);
        if (entry == nullptr) {
            return notFound(name);
        }
        const DictEntry removed = *entry;
        dictionary_.deleteTerm(removed.id);
        return told("delete", removed, "Deleted: " + shown(removed));
    }

    CommandResponse import(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || file.bad()) {
            return refusal(request_, ExitCode::environment, fmt::format("Cannot read {}.", path));
        }
        if (bytes.contains('\0') || toValidUtf8(bytes) != bytes) {
            return refusal(request_, ExitCode::usage,
                           fmt::format("{} is no text in UTF-8. Nothing was imported.", path));
        }
        const ParsedImport parsed = parseImport(bytes);
        if (parsed.problem && !request_.has("plain")) {
            return refusal(
                request_, ExitCode::usage,
                parsed.problem->text + "\nNothing was imported. If these are plain lines, say so with --plain.");
        }
        const auto known = planImport(parsed.terms, dictionary_.entries(), wanted_.tagId).known;
        const std::size_t count = dictionary_.importEntries(bytes, wanted_.tagId).size();
        if (request_.has("json")) {
            return {count > 0 ? ExitCode::done : ExitCode::nothing,
                    dumped(Json{{"action", "import"}, {"imported", count}, {"alreadyThere", known}}),
                    {}};
        }
        std::string told = importedText(count);
        if (!known.empty()) {
            told += fmt::format(", {} already there", known.size());
        }
        return {count > 0 ? ExitCode::done : ExitCode::nothing, told + "\n", {}};
    }

private:
    [[nodiscard]] std::string projectName(const std::optional<Identifier>& tagId) const {
        const TagModel* tag = tagId ? store_.tagById(*tagId) : nullptr;
        return tag != nullptr ? tag->name : tagId ? "deleted project" : "";
    }
    [[nodiscard]] static std::string shown(const DictEntry& entry) {
        return entry.hint.empty() ? entry.term : entry.term + " (" + entry.hint + ")";
    }
    [[nodiscard]] DictEntry entryOf(const Identifier& id) const {
        return *std::ranges::find(dictionary_.entries(), id, &DictEntry::id);
    }
    /// By its id, else by its text in the dictionary that the options name.
    [[nodiscard]] const DictEntry* named(const std::string& name) const {
        const auto byId =
            std::ranges::find_if(dictionary_.entries(), [&](const auto& e) { return e.id.text() == name; });
        return byId != dictionary_.entries().end() ? &*byId : dictionary_.find(name, wanted_.tagId);
    }
    [[nodiscard]] CommandResponse notFound(const std::string& name) const {
        const std::string where = wanted_.tagId ? "of " + oneLine(wanted_.name) : "among the personal ones";
        return refusal(
            request_, ExitCode::nothing,
            fmt::format("There is no term “{}” {}. All of them: tolvik vocabulary list", oneLine(name), where));
    }
    [[nodiscard]] CommandResponse told(std::string_view action, const DictEntry& entry, const std::string& feedback,
                                       ExitCode exit = ExitCode::done) const {
        if (request_.has("json")) {
            return {exit,
                    dumped(Json{{"action", action},
                                {"id", entry.id.text()},
                                {"term", entry.term},
                                {"hint", entry.hint},
                                {"projectId", entry.tagId ? Json(entry.tagId->text()) : Json()},
                                {"feedback", feedback}}),
                    {}};
        }
        const std::string line = oneLine(feedback) + "\n";
        return exit == ExitCode::done ? CommandResponse{exit, line, {}} : CommandResponse{exit, {}, line};
    }

    DictionaryManager& dictionary_;
    const AppStore& store_;
    const CommandRequest& request_;
    Wanted wanted_;
};

}  // namespace

CommandResponse runVocabulary(DictionaryManager& dictionary, const AppStore& store, const CommandRequest& request) {
    Wanted wanted;
    if (const auto name = request.option("project")) {
        auto found = projectNamed(store, request, *name);
        if (!found) {
            return found.error();
        }
        wanted = *std::move(found);
    }
    const auto& verb = request.arguments.front();
    const std::string rest = joined({request.arguments.begin() + 1, request.arguments.end()}, " ");
    Run run(dictionary, store, request, std::move(wanted));
    if (verb == "list" && rest.empty()) {
        return run.list();
    }
    if (rest.empty()) {
        return usage(request);
    }
    if (verb == "add") {
        return run.add(rest);
    }
    if (verb == "edit") {
        return run.edit(rest);
    }
    if (verb == "delete") {
        return run.remove(rest);
    }
    return verb == "import" && request.arguments.size() == 2 ? run.import(rest) : usage(request);
}

CommandResponse runProjectUse(DictionaryManager& dictionary, const AppStore& store, const CommandRequest& request) {
    const std::string name = joined({request.arguments.begin() + 1, request.arguments.end()}, " ");
    if (name == "none") {
        dictionary.setActiveProject(std::nullopt);
    } else if (!name.empty()) {
        const auto found = projectNamed(store, request, name);
        if (!found) {
            return found.error();
        }
        dictionary.setActiveProject(found->tagId);
    }
    const auto& active = dictionary.activeTagId();
    const TagModel* tag = active ? store.tagById(*active) : nullptr;
    if (request.has("json")) {
        return {ExitCode::done,
                dumped(Json{{"action", "use"},
                            {"projectId", tag != nullptr ? Json(tag->id.text()) : Json()},
                            {"projectName", tag != nullptr ? Json(tag->name) : Json()}}),
                {}};
    }
    return {
        ExitCode::done, tag != nullptr ? "New tasks go to: " + oneLine(tag->name) + "\n" : "No current project\n", {}};
}

}  // namespace tolvik
