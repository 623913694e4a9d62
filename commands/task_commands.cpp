#include "commands/task_commands.h"

#include <fmt/format.h>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/task_lookup.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

/// One command about a task.
struct TaskRun {
    AppStore& store;
    CommandExecutor& executor;
    const Clock& clock;

    using Handler = CommandResponse (TaskRun::*)(const CommandRequest&);

    [[nodiscard]] Deed deed(std::string action, const Identifier& id, std::string feedback) const {
        const TaskModel* task = store.taskById(id);
        return {std::move(action), id, task == nullptr ? std::string() : task->title, std::move(feedback)};
    }

    template <class Act>
    CommandResponse withTask(const CommandRequest& request, const Act& act) {
        const auto name = request.text();
        const auto lookup = lookUpTask(store.tasks(), name);
        if (lookup.found != nullptr) {
            return act(*lookup.found);
        }
        return notFound(request, "task", name, named(lookup));
    }

    CommandResponse start(const CommandRequest& request) {
        const auto id = store.startTask(request.text(), ChangeSource::manual, request.option("reason"));
        if (!id) {
            return nothing(request, "Nothing to start");
        }
        return told(request, deed("start", *id, "● " + store.taskById(*id)->title));
    }

    CommandResponse switchTo(const CommandRequest& request) {
        return withTask(request, [&](const TaskModel& task) {
            if (task.isActive) {
                return nothing(request, "Already running: " + task.title);
            }
            const Identifier id = task.id;
            const auto reason = request.option("reason");
            (void)store.switchToTask(id, ChangeSource::manual, reason);
            return told(request,
                        deed("switch", id, "→ " + store.taskById(id)->title + (reason ? " · " + *reason : "")));
        });
    }

    CommandResponse stop(const CommandRequest& request) {
        const TaskModel* task = store.activeTask();
        if (task == nullptr) {
            return nothing(request, "Nothing is running");
        }
        const Identifier id = task->id;
        const auto length = runningWords();
        (void)store.stopTask(id);
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
            (void)store.markDone(id);
            auto finished = deed("done", id, {});
            finished.feedback = "✓ " + finished.taskTitle + length;
            return told(request, finished);
        };
        if (!request.arguments.empty()) {
            return withTask(request, finish);
        }
        const TaskModel* task = store.activeTask();
        return task == nullptr ? nothing(request, "Nothing is running") : finish(*task);
    }

    [[nodiscard]] std::string runningWords() const {
        const TimeEntry* entry = store.runningEntry();
        const auto started = entry == nullptr ? std::nullopt : entry->startedAt.instant();
        return started ? "   " + durationWords((clock.now() - *started).count()) : std::string();
    }

    CommandResponse resume(const CommandRequest& request) {
        auto response = told(request, executor.resume(ChangeSource::manual));
        if (response.exit != ExitCode::done && !request.has("json")) {
            response.error = std::exchange(response.out, {});
        }
        return response;
    }

    CommandResponse undo(const CommandRequest& request) {
        const auto words = store.undo();
        return words ? told(request, Deed{"undo", {}, {}, undoneLine(*words)}) : nothing(request, "Nothing to undo");
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
            const auto project = lookUpProject(store.tags(), *name);
            if (project.found == nullptr) {
                return notFound(request, "project", *name, named(project));
            }
            change.tagId = std::optional(project.found->id);
        } else if (request.has("no-project")) {
            change.tagId = std::optional<Identifier>();
        }
        return withTask(request, [&](const TaskModel& task) {
            const Identifier id = task.id;
            const auto outcome = store.updateTask(id, change);
            auto changed = deed("edit", id, {});
            changed.feedback = (outcome == Outcome::changed ? "Changed: " : "Nothing to change: ") + changed.taskTitle;
            return told(request, changed, outcome == Outcome::changed ? ExitCode::done : ExitCode::nothing);
        });
    }

    CommandResponse remove(const CommandRequest& request) {
        return withTask(request, [&](const TaskModel& task) {
            const Deed removed{"delete", task.id, task.title,
                               "Deleted: " + task.title + "   (tolvik undo brings it back)"};
            (void)store.deleteTask(*removed.taskId);
            return told(request, removed);
        });
    }
};

const std::map<std::string_view, TaskRun::Handler>& handlers() {
    static const std::map<std::string_view, TaskRun::Handler> all{
        {"start", &TaskRun::start}, {"switch", &TaskRun::switchTo}, {"stop", &TaskRun::stop},
        {"done", &TaskRun::done},   {"resume", &TaskRun::resume},   {"undo", &TaskRun::undo},
        {"edit", &TaskRun::edit},   {"delete", &TaskRun::remove},
    };
    return all;
}

}  // namespace

CommandResponse told(const CommandRequest& request, const CommandOutcome& outcome) {
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
    if (outcome.feedback.empty() && exit == ExitCode::nothing) {
        return {exit, {}, line("Nothing was said.")};
    }
    return {exit, outcome.feedback.empty() ? std::string() : line(outcome.feedback), {}};
}

bool TaskCommands::knows(std::string_view command) {
    return handlers().contains(command);
}

CommandResponse TaskCommands::run(const CommandRequest& request) {
    TaskRun run{store_, executor_, clock_};
    return (run.*handlers().at(request.command))(request);
}

}  // namespace tolvik
