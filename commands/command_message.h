#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik {

/// The exit codes of the command line.
enum class ExitCode : int {
    done = 0,
    nothing = 1,      ///< understood, and there was nothing to do or no such record
    usage = 2,        ///< the command line or a given file is not well formed
    environment = 3,  ///< the disk, another process or a missing part failed
};

/// One command, independent of the caller's working folder.
struct CommandRequest {
    std::string command;
    std::vector<std::string> arguments;
    /// Without the dashes; options without a value have the empty text.
    std::map<std::string, std::string> options;

    [[nodiscard]] bool has(const std::string& option) const { return options.contains(option); }
    [[nodiscard]] std::optional<std::string> option(const std::string& name) const;
    /// The arguments joined by blanks: what a title of several words comes as.
    [[nodiscard]] std::string text() const;
    bool operator==(const CommandRequest&) const = default;
};

/// What goes to the two outputs, and the exit code.
struct CommandResponse {
    ExitCode exit = ExitCode::done;
    std::string out;
    std::string error;

    bool operator==(const CommandResponse&) const = default;
};

/// JSON; bounded in depth. The error says what is wrong.
[[nodiscard]] std::string encode(const CommandRequest& request);
[[nodiscard]] Result<CommandRequest, std::string> decodeRequest(std::string_view bytes);

/// One line of JSON, then the bytes of the outputs, which may be large.
[[nodiscard]] std::string encode(const CommandResponse& response);
[[nodiscard]] Result<CommandResponse, std::string> decodeResponse(std::string_view bytes);

}  // namespace tolvik
