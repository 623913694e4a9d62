#include "cli/log_part.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <unordered_set>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/system_time_zone.h"
#include "adapters/system/thread_workers.h"
#include "commands/report_command.h"
#include "services/log_access.h"
#include "services/log_services.h"

namespace tolvik {
namespace {

/// How much one answer brings: a few megabytes of a busy log.
constexpr int kDaysAtOnce = 92;

CommandResponse failed(std::string why) {
    return {ExitCode::environment, {}, std::move(why) + "\n"};
}

Result<WholeLog, CommandResponse> takeHere(const Paths& paths, DaySpan days, const CommandRequest& request) {
    const SystemClock clock;
    const SystemTimeZone zone;
    SystemRandom random;
    AsioMainLoop loop;
    ThreadWorkers workers;
    auto services =
        LogServices::open(paths, {.clock = clock, .timeZone = zone, .random = random, .loop = loop, .workers = workers},
                          {.endsAfterwards = true});
    if (!services) {
        return failure(failed(fmt::format("The log at {} cannot be opened. {}\nSee: tolvik doctor",
                                          paths.database().string(), describe(services.error()))));
    }
    return takeLogPart((*services)->store(), days, request);
}

/// Adds `more` to `all`; a task comes with each part that has entries of it.
void append(WholeLog& all, WholeLog more, std::unordered_set<Identifier>& tasks) {
    std::ranges::move(more.timeEntries, std::back_inserter(all.timeEntries));
    std::ranges::copy_if(more.tasks, std::back_inserter(all.tasks),
                         [&](const TaskModel& task) { return tasks.insert(task.id).second; });
    all.tags = std::move(more.tags);
}

}  // namespace

Result<WholeLog, CommandResponse> fetchLogPart(const Paths& paths, DaySpan days, const CommandRequest& request) {
    WholeLog all;
    RecordDecoder decoder;
    std::unordered_set<Identifier> tasks;
    for (DayKey first = days.first; first <= days.last;) {
        const DayKey last = std::min(first.plus(kDaysAtOnce - 1), days.last);
        CommandRequest part{"log-part", {first.text(), last.text()}, {}};
        for (const char* option : {"project", "no-project"}) {
            if (const auto value = request.option(option)) {
                part.options.emplace(option, *value);
            }
        }
        const auto access = askOrLock(paths, encode(part));
        if (!access) {
            return failure(failed(access.error().text));
        }
        const auto* answer = std::get_if<std::string>(&*access);
        if (answer == nullptr) {
            // Nobody serves the log, perhaps no longer: the rest comes from here.
            auto rest = takeHere(paths, {first, days.last}, part);
            if (!rest) {
                return failure(std::move(rest.error()));
            }
            append(all, std::move(*rest), tasks);
            return all;
        }
        auto response = decodeResponse(*answer);
        if (!response) {
            return failure(failed(response.error()));
        }
        if (response->exit != ExitCode::done) {
            return failure(std::move(*response));
        }
        auto records = decoder.wholeLog(response->out);
        if (!records) {
            return failure(failed(records.error()));
        }
        append(all, std::move(*records), tasks);
        first = last.plus(1);
    }
    return all;
}

}  // namespace tolvik
