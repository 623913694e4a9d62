#include "commands/answers.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

}  // namespace

std::string dumped(const nlohmann::ordered_json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string line(std::string_view text) {
    return oneLine(text) + "\n";
}

CommandResponse report(std::string text) {
    return {ExitCode::done, std::move(text), {}};
}

CommandResponse refusal(const CommandRequest& request, ExitCode exit, std::string_view why) {
    CommandResponse response{exit, {}, std::string(why) + "\n"};
    if (request.has("json")) {
        response.out = dumped(Json{{"error", why}, {"exitCode", static_cast<int>(exit)}});
    }
    return response;
}

CommandResponse told(const CommandRequest& request, const Deed& deed, ExitCode exit) {
    if (request.has("json")) {
        return {exit,
                dumped(Json{{"action", deed.action},
                            {"taskId", deed.taskId ? Json(deed.taskId->text()) : Json()},
                            {"taskTitle", deed.taskTitle},
                            {"feedback", deed.feedback}}),
                {}};
    }
    return exit == ExitCode::done ? CommandResponse{exit, line(deed.feedback), {}}
                                  : CommandResponse{exit, {}, line(deed.feedback)};
}
CommandResponse nothing(const CommandRequest& request, std::string_view feedback) {
    return told(request, {"none", {}, {}, std::string(feedback)}, ExitCode::nothing);
}

std::vector<NamedRecord> named(const Lookup<TaskModel>& lookup) {
    std::vector<NamedRecord> out;
    out.reserve(lookup.candidates.size());
    for (const TaskModel* task : lookup.candidates) {
        out.push_back({task->id, task->title});
    }
    return out;
}

std::vector<NamedRecord> named(const Lookup<TagModel>& lookup) {
    std::vector<NamedRecord> out;
    out.reserve(lookup.candidates.size());
    for (const TagModel* tag : lookup.candidates) {
        out.push_back({tag->id, tag->name});
    }
    return out;
}

CommandResponse notFound(const CommandRequest& request, std::string_view kind, const std::string& name,
                         const std::vector<NamedRecord>& candidates) {
    if (candidates.empty()) {
        const auto hint = kind == "task" ? "tolvik tasks --all" : "tolvik project list";
        const auto why = fmt::format("There is no {} “{}”. All of them: {}", kind, oneLine(name), hint);
        return kind == "task" && request.has("json") ? nothing(request, "Couldn't find that task")
                                                     : refusal(request, ExitCode::nothing, why);
    }
    constexpr std::size_t most = 10;
    std::string why = fmt::format("“{}” fits several. Write more of the title, or the id:\n", oneLine(name));
    Json list = Json::array();
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        const NamedRecord& record = candidates[i];
        list.push_back(Json{{"id", record.id.text()}, {"title", record.name}});
        if (i < most) {
            why += fmt::format("  {}  {}\n", record.id.text(), oneLine(record.name));
        }
    }
    if (candidates.size() > most) {
        why += fmt::format("  … and {} more\n", candidates.size() - most);
    }
    CommandResponse response{ExitCode::nothing, {}, why};
    if (request.has("json")) {
        response.out = dumped(Json{{"action", "none"},
                                   {"taskId", nullptr},
                                   {"taskTitle", ""},
                                   {"feedback", "Several tasks fit"},
                                   {"candidates", list}});
    }
    return response;
}

}  // namespace tolvik
