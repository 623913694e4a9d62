#include "cli/carry.h"

#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <utility>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/system_time_zone.h"
#include "adapters/system/thread_workers.h"
#include "commands/account_commands.h"
#include "commands/command_service.h"
#include "dictionary/dictionary_manager.h"
#include "services/log_access.h"
#include "services/log_services.h"
#include "sync/sync_service.h"

namespace tolvik {
namespace {

CommandResponse failed(const CommandRequest& request, const std::string& why) {
    CommandResponse response{ExitCode::environment, {}, why + "\n"};
    if (request.has("json")) {
        const nlohmann::ordered_json json{{"error", why}, {"exitCode", static_cast<int>(response.exit)}};
        response.out = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    }
    return response;
}

/// Why the log does not open, for a process that will not try again.
std::string_view whyNot(StoreError problem) {
    switch (problem) {
        case StoreError::full:
            return "The disk is full. Make room and give the command again.";
        case StoreError::readOnly:
            return "It cannot be written. Mend its permissions and give the command again.";
        case StoreError::locked:
            return "Another process holds it. Try again.";
        case StoreError::io:
            return "The disk does not give or take its bytes.";
        case StoreError::corrupt:
            break;
    }
    return describe(problem);
}

/// Nobody has the log: this process opens it, makes its change and lets go.
CommandResponse carryOutHere(const Paths& paths, const CommandRequest& request) {
    const SystemClock clock;
    const SystemTimeZone zone;
    SystemRandom random;
    AsioMainLoop loop;
    ThreadWorkers workers;
    auto services =
        LogServices::open(paths, {.clock = clock, .timeZone = zone, .random = random, .loop = loop, .workers = workers},
                          {.endsAfterwards = true});
    if (!services) {
        return failed(request, fmt::format("The log at {} cannot be opened. {}\nSee: tolvik doctor",
                                           paths.database().string(), whyNot(services.error())));
    }
    AccountCommands account({.session = (*services)->session(),
                             .auth = (*services)->auth(),
                             .profile = (*services)->profile(),
                             .outbox = (*services)->outbox(),
                             .endpoint = (*services)->endpoint(),
                             .loop = loop,
                             .goOnline = [&] { (*services)->goOnline(); },
                             .pullAll =
                                 [&](std::function<void(bool)> pulled) {
                                     (*services)->sync()->pullAll([pulled = std::move(pulled)](const auto& outcome) {
                                         pulled(outcome.has_value());
                                     });
                                 }});
    CommandService service({.store = (*services)->store(),
                            .values = (*services)->values(),
                            .executor = (*services)->executor(),
                            .clock = clock,
                            .timeZone = zone,
                            .terms = [&] { return (*services)->dictionary().terms(); },
                            .dictionary = &(*services)->dictionary(),
                            .account = &account,
                            .folder = paths.data,
                            .raise = {},
                            .endsAfterwards = true});
    std::optional<CommandResponse> response;
    service.run(request, [&](CommandResponse made) { response = std::move(made); });
    // What waits for the server has time limits of its own.
    constexpr Millis longest{30'000};
    if (!response && !loop.runUntil([&] { return response.has_value(); }, longest)) {
        return failed(request, "The command was not finished in time.");
    }
    if (const auto notice = (*services)->openingNotice(); !notice.empty()) {
        response->error += notice + "\n";
    }
    return std::move(*response);
}

}  // namespace

CommandResponse carryOut(const Paths& paths, const CommandRequest& request) {
    auto access = askOrLock(paths, encode(request));
    if (!access) {
        return failed(request, access.error().text);
    }
    if (const auto* answer = std::get_if<std::string>(&*access)) {
        auto response = decodeResponse(*answer);
        return response ? std::move(*response) : failed(request, response.error());
    }
    return carryOutHere(paths, request);
}

}  // namespace tolvik
