#pragma once

#include <functional>
#include <memory>

#include "adapters/socket/command_socket_server.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "commands/account_commands.h"
#include "commands/command_service.h"
#include "services/log_services.h"

namespace tolvik {

/// Carries out the command line's commands while the desktop has the log. Main loop only.
class CommandEndpoint {
public:
    struct Ports {
        LogServices& services;
        const Clock& clock;
        const TimeZone& timeZone;
        MainLoop& loop;
        /// Brings the window to the front.
        std::function<void()> raise;
        /// The consent to telemetry may have been changed.
        std::function<void()> telemetryChanged = {};
    };
    /// A socket that cannot be made is told on the log; the desktop works without it.
    explicit CommandEndpoint(Ports ports);

private:
    AccountCommands account_;
    CommandService service_;
    std::unique_ptr<CommandSocketServer> server_;
};

}  // namespace tolvik
