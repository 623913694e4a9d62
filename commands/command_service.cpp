#include "commands/command_service.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "base/text.h"
#include "commands/account_commands.h"
#include "commands/ask_command.h"
#include "commands/command_line.h"
#include "commands/log_report.h"
#include "commands/parse_lines.h"
#include "commands/report_command.h"
#include "commands/task_lookup.h"
#include "commands/telemetry_command.h"
#include "commands/vocabulary_commands.h"
#include "commands/words.h"
#include "services/everything.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

std::string dumped(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string line(std::string_view text) {
    return oneLine(text) + "\n";
}

/// What could not be saved, for a process that will not try again.
std::string_view lostBecause(StoreError problem) {
    switch (problem) {
        case StoreError::full:
            return "Nothing was saved: the disk is full. Make room and give the command again.";
        case StoreError::readOnly:
            return "Nothing was saved: the data folder cannot be written. Mend its permissions and try again.";
        case StoreError::locked:
            return "Nothing was saved: another process holds the log. Try again.";
        case StoreError::corrupt:
            return "Nothing was saved: the log's file is damaged. See: tolvik doctor";
        case StoreError::io:
            return "Nothing was saved: the disk did not accept the change. See: tolvik doctor";
    }
    return "Nothing was saved.";
}

}  // namespace

struct CommandService::Impl {
    explicit Impl(Ports lent)
        : ports(std::move(lent)), notices(ports.store.onNotice([this](const StoreNotice& notice) {
              pendingNotices += "Note: " + line(notice.text);
          })) {}

    using Handler = CommandResponse (Impl::*)(const CommandRequest&);

    [[nodiscard]] ReportView view() const { return {ports.store, ports.clock, ports.timeZone}; }

    [[nodiscard]] static ReportForm formOf(const CommandRequest& request) {
        if (request.has("json")) {
            return ReportForm::json;
        }
        return request.has("colour") ? ReportForm::coloured : ReportForm::plain;
    }

    [[nodiscard]] static CommandResponse report(std::string text) { return {ExitCode::done, std::move(text), {}}; }

    [[nodiscard]] static CommandResponse refusal(const CommandRequest& request, ExitCode exit, std::string_view why) {
        CommandResponse response{exit, {}, std::string(why) + "\n"};
        if (request.has("json")) {
            response.out = dumped(Json{{"error", why}, {"exitCode", static_cast<int>(exit)}});
        }
        return response;
    }

    /// What an operation did to a task, as a line and in the keys that sentences have too.
    struct Deed {
        std::string action;
        std::optional<Identifier> taskId;
        std::string taskTitle;
        std::string feedback;
    };
    [[nodiscard]] static CommandResponse told(const CommandRequest& request, const Deed& deed,
                                              ExitCode exit = ExitCode::done) {
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
    [[nodiscard]] static CommandResponse nothing(const CommandRequest& request, std::string_view feedback) {
        return told(request, {"none", {}, {}, std::string(feedback)}, ExitCode::nothing);
    }
    [[nodiscard]] Deed deed(std::string action, const Identifier& id, std::string feedback) const {
        const TaskModel* task = ports.store.taskById(id);
        return {std::move(action), id, task == nullptr ? std::string() : task->title, std::move(feedback)};
    }

    // --- the running task ------------------------------------------------------------------------------------------

    CommandResponse status(const CommandRequest& request) { return report(statusReport(view(), formOf(request))); }

    CommandResponse start(const CommandRequest& request) {
        const auto id = ports.store.startTask(request.text(), ChangeSource::manual, request.option("reason"));
        if (!id) {
            return nothing(request, "Nothing to start");
        }
        return told(request, deed("start", *id, "● " + ports.store.taskById(*id)->title));
    }

    CommandResponse switchTo(const CommandRequest& request) {
        return withTask(request, [&](const TaskModel& task) {
            if (task.isActive) {
                return nothing(request, "Already running: " + task.title);
            }
            const Identifier id = task.id;
            const auto reason = request.option("reason");
            (void)ports.store.switchToTask(id, ChangeSource::manual, reason);
            return told(request,
                        deed("switch", id, "→ " + ports.store.taskById(id)->title + (reason ? " · " + *reason : "")));
        });
    }

    CommandResponse stop(const CommandRequest& request) {
        const TaskModel* task = ports.store.activeTask();
        if (task == nullptr) {
            return nothing(request, "Nothing is running");
        }
        const Identifier id = task->id;
        const auto length = runningWords();
        (void)ports.store.stopTask(id);
        auto done = deed("stop", id, {});
        done.feedback = "⏸ " + done.taskTitle + length;
        return told(request, done);
    }

    CommandResponse done(const CommandRequest& request) {
        const auto finish = [&](const TaskModel& task) {
            const Identifier id = task.id;
            const auto length = task.isActive ? runningWords() : std::string();
            if (!task.isOpen() && !task.isActive) {
                return nothing(request, "Already done: " + task.title);
            }
            (void)ports.store.markDone(id);
            auto finished = deed("done", id, {});
            finished.feedback = "✓ " + finished.taskTitle + length;
            return told(request, finished);
        };
        if (!request.arguments.empty()) {
            return withTask(request, finish);
        }
        const TaskModel* task = ports.store.activeTask();
        return task == nullptr ? nothing(request, "Nothing is running") : finish(*task);
    }

    [[nodiscard]] std::string runningWords() const {
        const TimeEntry* entry = ports.store.runningEntry();
        const auto started = entry == nullptr ? std::nullopt : entry->startedAt.instant();
        return started ? "   " + durationWords((ports.clock.now() - *started).count()) : std::string();
    }

    CommandResponse resume(const CommandRequest& request) {
        return told(request, ports.executor.resume(ChangeSource::manual));
    }

    CommandResponse undo(const CommandRequest& request) {
        const auto words = ports.store.undo();
        return words ? told(request, Deed{"undo", {}, {}, undoneLine(*words)}) : nothing(request, "Nothing to undo");
    }

    // --- reports ---------------------------------------------------------------------------------------------------

    CommandResponse log(const CommandRequest& request) {
        const auto day = dayNamed(request.option("day").value_or("today"), ports.store.today());
        return day ? report(dayReport(view(), *day, formOf(request))) : refusal(request, ExitCode::usage, day.error());
    }

    CommandResponse reportOn(const CommandRequest& request) { return runReport(ports.store, book, request); }
    CommandResponse logPart(const CommandRequest& request) { return runLogPart(ports.store, request); }

    CommandResponse ask(const CommandRequest& request) {
        return runAsk(ports.store, ports.clock, ports.timeZone, request);
    }

    CommandResponse telemetry(const CommandRequest& request) {
        auto response = runTelemetry(ports.values, ports.folder, request);
        if (ports.telemetryChanged) {
            ports.telemetryChanged();
        }
        return response;
    }

    CommandResponse tasks(const CommandRequest& request) {
        return report(taskReport(view(), ports.executor.candidates(), request.has("all"), formOf(request)));
    }

    CommandResponse candidates(const CommandRequest&) {
        return report(writeCandidates(ports.executor.candidates()) + "\n");
    }

    CommandResponse vocabularyCommand(const CommandRequest& request) {
        return ports.dictionary != nullptr ? runVocabulary(*ports.dictionary, ports.store, request)
                                           : refusal(request, ExitCode::environment, "There is no vocabulary here.");
    }

    CommandResponse vocabularyJson(const CommandRequest&) {
        const auto words = vocabulary();
        return report(dumped(Json{{"titles", words.titles},
                                  {"projects", words.projects},
                                  {"terms", words.terms},
                                  {"modelFolder", ports.values.text("tolvik.voice.modelFolder")}}));
    }

    CommandResponse health(const CommandRequest&) {
        const auto& store = ports.store;
        Json keys = Json::array();
        if (const auto all = ports.values.keys()) {
            for (const auto& key : *all) {
                keys.push_back(key);
            }
        }
        const auto problem = store.saveProblem();
        return report(dumped(Json{{"tasks", store.tasks().size()},
                                  {"projects", store.tags().size()},
                                  {"entries", store.timeEntries().size()},
                                  {"switches", store.switchLogs().size()},
                                  {"keys", keys},
                                  {"problem", problem ? Json(std::string(describe(*problem))) : Json()}}));
    }

    // --- records ---------------------------------------------------------------------------------------------------

    template <class Act>
    CommandResponse withTask(const CommandRequest& request, const Act& act) {
        const auto name = request.text();
        const auto lookup = lookUpTask(ports.store.tasks(), name);
        if (lookup.found != nullptr) {
            return act(*lookup.found);
        }
        return notFound(request, "task", name, lookup, [](const TaskModel& task) { return task.title; });
    }

    template <class Record, class Naming>
    CommandResponse notFound(const CommandRequest& request, std::string_view kind, const std::string& name,
                             const Lookup<Record>& lookup, const Naming& naming) const {
        if (lookup.candidates.empty()) {
            const auto hint = kind == "task" ? "tolvik tasks --all" : "tolvik project list";
            const auto why = fmt::format("There is no {} “{}”. All of them: {}", kind, oneLine(name), hint);
            return kind == "task" && request.has("json") ? nothing(request, "Couldn't find that task")
                                                         : refusal(request, ExitCode::nothing, why);
        }
        constexpr std::size_t most = 10;
        std::string why = fmt::format("“{}” fits several. Write more of the title, or the id:\n", oneLine(name));
        Json list = Json::array();
        for (std::size_t i = 0; i < lookup.candidates.size(); ++i) {
            const auto& record = *lookup.candidates[i];
            list.push_back(Json{{"id", record.id.text()}, {"title", naming(record)}});
            if (i < most) {
                why += fmt::format("  {}  {}\n", record.id.text(), oneLine(naming(record)));
            }
        }
        if (lookup.candidates.size() > most) {
            why += fmt::format("  … and {} more\n", lookup.candidates.size() - most);
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

    CommandResponse edit(const CommandRequest& request) {
        if (!request.has("title") && !request.has("project") && !request.has("no-project")) {
            return refusal(request, ExitCode::usage,
                           "What shall change? Give --title TITLE, --project NAME or --no-project.");
        }
        if (request.has("project") && request.has("no-project")) {
            return refusal(request, ExitCode::usage, "--project and --no-project exclude each other.");
        }
        AppStore::TaskEdit change;
        change.title = request.option("title");
        if (change.title && trimmed(*change.title).empty()) {
            return refusal(request, ExitCode::usage, "A title cannot be empty.");
        }
        if (const auto name = request.option("project")) {
            const auto project = lookUpProject(ports.store.tags(), *name);
            if (project.found == nullptr) {
                return notFound(request, "project", *name, project, [](const TagModel& tag) { return tag.name; });
            }
            change.tagId = std::optional(project.found->id);
        } else if (request.has("no-project")) {
            change.tagId = std::optional<Identifier>();
        }
        return withTask(request, [&](const TaskModel& task) {
            const Identifier id = task.id;
            const auto outcome = ports.store.updateTask(id, change);
            auto changed = deed("edit", id, {});
            changed.feedback = (outcome == Outcome::changed ? "Changed: " : "Nothing to change: ") + changed.taskTitle;
            return told(request, changed, outcome == Outcome::changed ? ExitCode::done : ExitCode::nothing);
        });
    }

    CommandResponse remove(const CommandRequest& request) {
        return withTask(request, [&](const TaskModel& task) {
            const Deed removed{"delete", task.id, task.title,
                               "Deleted: " + task.title + "   (tolvik undo brings it back)"};
            (void)ports.store.deleteTask(*removed.taskId);
            return told(request, removed);
        });
    }

    CommandResponse project(const CommandRequest& request) {
        const auto& verb = request.arguments.front();
        const std::size_t given = request.arguments.size() - 1;
        if (verb == "list" && given == 0) {
            return report(projectReport(view(), formOf(request)));
        }
        if (verb == "use" && ports.dictionary != nullptr) {
            return runProjectUse(*ports.dictionary, ports.store, request);
        }
        const auto rest = joined({request.arguments.begin() + 1, request.arguments.end()}, " ");
        if (verb == "add" && given > 0) {
            const auto id = ports.store.createProject(rest);
            return id ? projectTold(request, "add", *id, ports.store.tagById(*id)->name, "Added: ")
                      : nothing(request, "A project needs a name");
        }
        const bool renames = verb == "rename" && given == 2;
        if (!renames && !(verb == "delete" && given > 0)) {
            return refusal(request, ExitCode::usage,
                           "Usage: tolvik project list | add NAME | rename NAME NEW | delete NAME | use NAME|none");
        }
        const auto name = renames ? request.arguments[1] : rest;
        const auto lookup = lookUpProject(ports.store.tags(), name);
        if (lookup.found == nullptr) {
            return notFound(request, "project", name, lookup, [](const TagModel& tag) { return tag.name; });
        }
        const Identifier id = lookup.found->id;
        const std::string old = lookup.found->name;
        if (renames) {
            return ports.store.renameProject(id, request.arguments[2]) == Outcome::changed
                       ? projectTold(request, "rename", id, ports.store.tagById(id)->name, "Renamed: " + old + " → ")
                       : nothing(request, "Nothing to rename");
        }
        return ports.store.deleteProject(id) == Outcome::changed
                   ? projectTold(request, "delete", id, old, "Deleted the project, kept its tasks: ")
                   : nothing(request, "Nothing to delete");
    }

    static CommandResponse projectTold(const CommandRequest& request, std::string_view action, const Identifier& id,
                                       const std::string& name, const std::string& before) {
        if (request.has("json")) {
            return report(dumped(Json{{"action", action}, {"projectId", id.text()}, {"projectName", name}}));
        }
        return report(line(before + name));
    }

    // --- stored values ---------------------------------------------------------------------------------------------

    CommandResponse data(const CommandRequest& request) {
        const auto& verb = request.arguments.front();
        const bool hasOne = request.arguments.size() == 2;
        if (verb == "keys" && !hasOne) {
            return dataKeys(request);
        }
        if (verb == "get" && hasOne) {
            const auto value = ports.values.get(request.arguments[1]);
            if (!value) {
                return refusal(request, ExitCode::environment, describe(value.error()));
            }
            return *value ? report(**value + "\n")
                          : refusal(request, ExitCode::nothing,
                                    fmt::format("There is nothing under \"{}\". All keys: tolvik data keys",
                                                oneLine(request.arguments[1])));
        }
        if (verb == "export" && hasOne) {
            return dataExport(request, request.arguments[1]);
        }
        if (verb == "import" && hasOne) {
            return dataImport(request, request.arguments[1]);
        }
        return refusal(request, ExitCode::usage, "Usage: tolvik data get KEY | keys | export FILE | import FILE");
    }

    CommandResponse dataKeys(const CommandRequest& request) {
        const auto keys = ports.values.keys();
        if (!keys) {
            return refusal(request, ExitCode::environment, describe(keys.error()));
        }
        return report(request.has("json") ? dumped(Json(*keys)) : joined(*keys, "\n") + (keys->empty() ? "" : "\n"));
    }

    /// The caller writes the file: it knows who is allowed to.
    CommandResponse dataExport(const CommandRequest& request, const std::string&) {
        auto all =
            ports.dictionary == nullptr ? ports.store.exportAll() : exportEverything(ports.store, *ports.dictionary);
        return all ? report(std::move(*all)) : refusal(request, ExitCode::environment, describe(all.error()));
    }

    CommandResponse dataImport(const CommandRequest& request, const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file.is_open() || file.bad()) {
            return refusal(request, ExitCode::environment, fmt::format("Cannot read {}.", path));
        }
        const auto imported = ports.dictionary == nullptr
                                  ? ports.store.importAll(bytes)
                                  : importEverything(ports.store, *ports.dictionary, ports.values, ports.clock, bytes);
        if (!imported) {
            return refusal(request, ExitCode::usage, fmt::format("{} was not imported: {}", path, imported.error()));
        }
        const auto& store = ports.store;
        if (request.has("json")) {
            return report(dumped(Json{{"action", "import"},
                                      {"tasks", store.tasks().size()},
                                      {"projects", store.tags().size()},
                                      {"entries", store.timeEntries().size()},
                                      {"switches", store.switchLogs().size()}}));
        }
        return report(fmt::format(
            "Imported {} tasks, {} projects, {} entries, {} switches. The old log is kept: "
            "tolvik data keys\n",
            store.tasks().size(), store.tags().size(), store.timeEntries().size(), store.switchLogs().size()));
    }

    // --- sentences -------------------------------------------------------------------------------------------------

    static CommandResponse told(const CommandRequest& request, const CommandOutcome& outcome) {
        const bool changed = outcome.action != "none" && !outcome.feedback.starts_with("Already running: ");
        const auto exit = changed ? ExitCode::done : ExitCode::nothing;
        if (request.has("json")) {
            return {exit,
                    dumped(Json{{"action", outcome.action},
                                {"taskId", outcome.taskId ? Json(outcome.taskId->text()) : Json()},
                                {"taskTitle", outcome.taskTitle},
                                {"reason", outcome.reason ? Json(*outcome.reason) : Json()},
                                {"confidence", outcome.confidence},
                                {"method", outcome.method},
                                {"transcript", outcome.transcript},
                                {"feedback", outcome.feedback}}),
                    {}};
        }
        return {exit, outcome.feedback.empty() ? std::string() : line(outcome.feedback), {}};
    }

    void say(const CommandRequest& request, const Done& done) {
        const auto text = request.text();
        if (request.has("dry-run")) {
            done(finished(request, told(request, ports.executor.preview(text))));
            return;
        }
        ports.executor.execute(text, ChangeSource::voice, [this, request, done](const CommandOutcome& outcome) {
            done(finished(request, told(request, outcome)));
        });
    }

    [[nodiscard]] Vocabulary vocabulary() const {
        constexpr std::size_t mostTitles = 200;
        Vocabulary words;
        std::set<std::string> seen;
        const auto add = [&](const std::string& title) {
            if (words.titles.size() < mostTitles && seen.insert(title).second) {
                words.titles.push_back(title);
            }
        };
        for (const auto& task : ports.executor.candidates()) {
            add(task.title);
        }
        const auto& tasks = ports.store.tasks();
        for (auto task = tasks.rbegin(); task != tasks.rend(); ++task) {
            if (task->isOpen()) {
                add(task->title);
            }
        }
        for (const auto& project : ports.store.tags()) {
            words.projects.push_back(project.name);
        }
        if (ports.terms) {
            words.terms = ports.terms();
        }
        return words;
    }

    CommandResponse raise(const CommandRequest& request) {
        if (!ports.raise) {
            return refusal(request, ExitCode::nothing, "There is no window to raise.");
        }
        ports.raise();
        return {};
    }

    /// Adds what the user must know beside the command's own outcome.
    CommandResponse finished(const CommandRequest& request, CommandResponse response) {
        response.error += std::exchange(pendingNotices, {});
        auto problem = ports.store.saveProblem();
        if (!problem && ports.dictionary != nullptr) {
            problem = ports.dictionary->saveProblem();
        }
        if (problem && response.exit == ExitCode::done) {
            response.exit = ExitCode::environment;
            const auto why = ports.endsAfterwards ? lostBecause(*problem) : describe(*problem);
            response.error += std::string(why) + "\n";
            if (request.has("json")) {
                response.out = dumped(Json{{"error", why}, {"exitCode", static_cast<int>(response.exit)}});
            } else if (ports.endsAfterwards) {
                response.out.clear();
            }
        }
        return response;
    }

    Ports ports;
    ReportBook book{ports.store, ports.clock, ports.timeZone};
    std::string pendingNotices;
    Subscription notices;
};

CommandService::CommandService(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}
CommandService::~CommandService() = default;

void CommandService::run(const CommandRequest& request, const Done& done) {
    static const std::map<std::string, Impl::Handler, std::less<>> handlers{
        {"status", &Impl::status},
        {"start", &Impl::start},
        {"switch", &Impl::switchTo},
        {"stop", &Impl::stop},
        {"done", &Impl::done},
        {"resume", &Impl::resume},
        {"undo", &Impl::undo},
        {"log", &Impl::log},
        {"report", &Impl::reportOn},
        {"log-part", &Impl::logPart},
        {"tasks", &Impl::tasks},
        {"project", &Impl::project},
        {"edit", &Impl::edit},
        {"delete", &Impl::remove},
        {"data", &Impl::data},
        {"raise", &Impl::raise},
        {"candidates", &Impl::candidates},
        {"vocabulary", &Impl::vocabularyCommand},
        {"speech-words", &Impl::vocabularyJson},
        {"health", &Impl::health},
        {"ask", &Impl::ask},
        {"telemetry", &Impl::telemetry},
    };
    if (const auto checked = checkRequest(request); !checked) {
        done(Impl::refusal(request, ExitCode::usage, checked.error()));
        return;
    }
    if (request.command == "say") {
        impl_->say(request, done);
        return;
    }
    if (impl_->ports.account != nullptr && AccountCommands::knows(request.command)) {
        impl_->ports.account->run(request, [this, request, done](CommandResponse response) {
            done(impl_->finished(request, std::move(response)));
        });
        return;
    }
    const auto handler = handlers.find(request.command);
    if (handler == handlers.end()) {
        done(Impl::refusal(request, ExitCode::usage,
                           fmt::format("\"{}\" is not a command of the log.", request.command)));
        return;
    }
    done(impl_->finished(request, ((*impl_).*(handler->second))(request)));
}

void CommandService::answer(std::string_view request, std::function<void(std::string)> reply) {
    const auto decoded = decodeRequest(request);
    if (!decoded) {
        reply(encode(CommandResponse{ExitCode::usage, {}, decoded.error() + "\n"}));
        return;
    }
    run(*decoded, [reply = std::move(reply)](const CommandResponse& response) { reply(encode(response)); });
}

Vocabulary CommandService::vocabulary() const {
    return impl_->vocabulary();
}

}  // namespace tolvik
