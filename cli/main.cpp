// The program `tolvik`: takes the command line apart, has it carried out, writes what comes back.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "cli/carry.h"
#include "cli/commands_here.h"
#include "cli/files.h"
#include "commands/command_line.h"
#include "commands/words.h"

namespace tolvik {

ExitCode print(const CommandResponse& response) {
    const bool told = writeOut(STDERR_FILENO, response.error);
    return writeOut(STDOUT_FILENO, response.out) && told ? response.exit : ExitCode::environment;
}

CommandResponse refused(const CommandRequest& request, ExitCode exit, const std::string& why) {
    CommandResponse response{exit, {}, why + "\n"};
    if (request.has("json")) {
        const nlohmann::ordered_json json{{"error", why}, {"exitCode", static_cast<int>(exit)}};
        response.out = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    }
    return response;
}

namespace {

bool showsColours() {
    const char* terminal = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr && terminal != nullptr &&
           std::string_view(terminal) != "dumb";
}

/// How wide the terminal is that the output goes to; none when it goes elsewhere.
std::optional<int> terminalColumns() {
    winsize size{};
    const bool isKnown = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? std::optional<int>(size.ws_col) : std::nullopt;
}

ExitCode exportTo(const Paths& paths, const CommandRequest& request) {
    auto response = carryOut(paths, request);
    if (response.exit != ExitCode::done) {
        return print(response);
    }
    const auto& file = request.arguments[1];
    if (const auto written = writeFile(file, response.out); !written) {
        return print(refused(request, ExitCode::environment, written.error()));
    }
    const auto size = response.out.size();
    response.out.clear();
    if (file == "-") {
        return print(response);
    }
    if (request.has("json")) {
        const nlohmann::ordered_json told{{"action", "export"}, {"file", file}, {"bytes", size}};
        response.out = told.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    } else {
        response.out = fmt::format("Exported to {} ({} bytes).\n", file, size);
    }
    return print(response);
}

/// Whoever holds the log reads the file, so it gets a path that holds in its folder too.
ExitCode importFrom(const Paths& paths, CommandRequest request) {
    auto& file = request.arguments[1];
    std::error_code error;
    if (std::filesystem::is_regular_file(file, error)) {
        file = std::filesystem::absolute(file).string();
        return print(carryOut(paths, request));
    }
    const auto bytes = readFile(file);
    if (!bytes) {
        return print(refused(request, ExitCode::environment, bytes.error()));
    }
    const auto copy = (std::filesystem::temp_directory_path() / fmt::format("tolvik-import-{}", ::getpid())).string();
    if (const auto written = writeFile(copy, *bytes); !written) {
        return print(refused(request, ExitCode::environment, written.error()));
    }
    const auto given = std::exchange(file, copy);
    auto response = carryOut(paths, request);
    ::unlink(copy.c_str());
    // What is told is told of the file that the user named.
    for (auto* text : {&response.out, &response.error}) {
        if (const auto at = text->find(copy); at != std::string::npos) {
            text->replace(at, copy.size(), oneLine(given));
        }
    }
    return print(response);
}

ExitCode run(std::span<const std::string> arguments) {
    const Paths paths = locatePaths();
    if (arguments.empty()) {
        return runDesktop(paths);
    }
    const auto& first = arguments.front();
    if (first == "--version") {
        return print({ExitCode::done, fmt::format("tolvik {}\n", TOLVIK_VERSION), {}});
    }
    if (first == "--help" || first == "-h" || first == "help") {
        const auto* command = arguments.size() > 1 ? findCommand(arguments[1]) : nullptr;
        return print({ExitCode::done, command == nullptr ? overviewHelp() : commandHelp(*command), {}});
    }
    auto request = parseCommandLine(arguments);
    if (!request) {
        CommandRequest unread;
        for (const auto& argument : arguments) {
            if (argument == "--json") {
                unread.options.emplace("json", "");
            }
        }
        return print(refused(unread, ExitCode::usage, request.error()));
    }
    if (request->has("help")) {
        return print({ExitCode::done, commandHelp(*findCommand(request->command)), {}});
    }
    if (!request->has("json") && showsColours()) {
        request->options.emplace("colour", "");
    }
    if (request->command == "parse") {
        return runParse(paths, *request);
    }
    if (request->command == "hear") {
        return runHear(paths, *request);
    }
    if (request->command == "export") {
        return runExport(paths, *request);
    }
    if (request->command == "report" && !request->has("width")) {
        if (const auto columns = terminalColumns()) {
            request->options.emplace("width", std::to_string(*columns));
        }
    }
    if (request->command == "doctor") {
        return runDoctor(paths, *request);
    }
    if (request->command == "vocabulary" && request->arguments.size() == 2 && request->arguments[0] == "import") {
        return importFrom(paths, std::move(*request));
    }
    if (request->command == "data" && request->arguments.size() == 2) {
        if (request->arguments[0] == "export") {
            return exportTo(paths, *request);
        }
        if (request->arguments[0] == "import") {
            return importFrom(paths, std::move(*request));
        }
    }
    return print(carryOut(paths, *request));
}

}  // namespace
}  // namespace tolvik

int main(int argc, char** argv) {
    // A reader that goes away is an error of the output, not the end of this process in the middle of a change.
    std::signal(SIGPIPE, SIG_IGN);
    spdlog::set_default_logger(spdlog::stderr_logger_mt("tolvik"));
    spdlog::set_pattern("%v");
    spdlog::set_level(spdlog::level::err);
    return static_cast<int>(tolvik::run(std::vector<std::string>(argv + 1, argv + argc)));
}
