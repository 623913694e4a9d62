#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>

#include "adapters/socket/command_socket_client.h"
#include "cli/commands_here.h"

namespace tolvik {

ExitCode runDesktop(const Paths& paths) {
    if (const auto answer = callCommandSocket(paths.socket(), encode(CommandRequest{"raise", {}, {}}))) {
        const auto response = decodeResponse(*answer);
        return print(response ? *response : CommandResponse{ExitCode::environment, {}, response.error() + "\n"});
    }
    // The desktop itself sorts out who has the log when two start at once.
    const auto program = (paths.programs / "tolvik-desktop").string();
    ::execl(program.c_str(), program.c_str(), static_cast<char*>(nullptr));
    return print({ExitCode::environment,
                  {},
                  fmt::format("The desktop application cannot be started: {}: {}.\n"
                              "The commands work without it: tolvik --help\n",
                              program, std::strerror(errno))});
}

}  // namespace tolvik
