#include "commands/command_service.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "base/text.h"
#include "commands/account_commands.h"
#include "commands/answers.h"
#include "commands/ask_command.h"
#include "commands/command_line.h"
#include "commands/data_command.h"
#include "commands/log_report.h"
#include "commands/parse_lines.h"
#include "commands/project_command.h"
#include "commands/report_command.h"
#include "commands/task_commands.h"
#include "commands/telemetry_command.h"
#include "commands/vocabulary_commands.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

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

    CommandResponse status(const CommandRequest& request) { return report(statusReport(view(), formOf(request))); }

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

    CommandResponse project(const CommandRequest& request) {
        return runProject(ports.store, ports.dictionary, view(), request);
    }
    CommandResponse data(const CommandRequest& request) {
        return runData({ports.store, ports.values, ports.clock, ports.dictionary}, request);
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
        const auto active = ports.dictionary == nullptr ? std::nullopt : ports.dictionary->activeTagId();
        const TagModel* project = active ? ports.store.tagById(*active) : nullptr;
        Json shown = Json::array();
        for (const TaskModel& task : ports.store.tasksToShow()) {
            shown.push_back(task.title);
        }
        return report(dumped(Json{{"titles", words.titles},
                                  {"projects", words.projects},
                                  {"terms", words.terms},
                                  {"shown", std::move(shown)},
                                  {"project", project == nullptr ? Json() : Json(project->name)},
                                  {"role", ports.values.text("tolvik.profile.role")},
                                  {"email", ports.values.text("tolvik.auth.email")},
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

    // --- sentences -------------------------------------------------------------------------------------------------

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
    TaskCommands tasksOf{ports.store, ports.executor, ports.clock};
    std::string pendingNotices;
    Subscription notices;
};

CommandService::CommandService(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}
CommandService::~CommandService() = default;

void CommandService::run(const CommandRequest& request, const Done& done) {
    static const std::map<std::string, Impl::Handler, std::less<>> handlers{
        {"status", &Impl::status},
        {"log", &Impl::log},
        {"report", &Impl::reportOn},
        {"log-part", &Impl::logPart},
        {"tasks", &Impl::tasks},
        {"project", &Impl::project},
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
        done(refusal(request, ExitCode::usage, checked.error()));
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
    if (TaskCommands::knows(request.command)) {
        done(impl_->finished(request, impl_->tasksOf.run(request)));
        return;
    }
    const auto handler = handlers.find(request.command);
    if (handler == handlers.end()) {
        done(refusal(request, ExitCode::usage, fmt::format("\"{}\" is not a command of the log.", request.command)));
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
