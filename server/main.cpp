// The program `tolvik-server`: keeps the logs of its users on all their devices.

#include <algorithm>
#include <cstdlib>
#include <fmt/format.h>
#include <string>
#include <vector>

#include "server/config/server_config.h"
#include "server/service.h"

int main(int argc, char** argv) {
    using namespace tolvik::server;
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const auto config = readServerConfig(arguments, [](const std::string& name) -> std::optional<std::string> {
        const char* value = std::getenv(name.c_str());
        return value == nullptr ? std::nullopt : std::optional<std::string>(value);
    });
    if (!config) {
        fmt::print(stderr, "tolvik-server: {}\n", config.error());
        return 2;
    }
    if (config->help) {
        fmt::print("{}", serverHelp());
        return 0;
    }
    if (config->version) {
        fmt::print("tolvik-server {}\n", TOLVIK_VERSION);
        return 0;
    }
    return runService(*config);
}
