#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "commands/command_message.h"

namespace tolvik {

/// One option of a command.
struct OptionHelp {
    std::string_view name;
    /// What stands for the value in help; empty for options without one.
    std::string_view value;
    std::string_view help;
};

/// One command as a person types it.
struct CommandHelp {
    std::string_view name;
    /// The arguments, as help shows them.
    std::string_view arguments;
    std::string_view summary;
    std::size_t fewestArguments = 0;
    std::size_t mostArguments = 0;
    std::vector<OptionHelp> options;
    /// Lines below the options; may be empty.
    std::string_view details;
    /// For the programs only; help does not list it.
    bool internal = false;
};

/// Every command, in the order in which help lists them.
[[nodiscard]] std::span<const CommandHelp> allCommands();
/// Null when there is none of that name.
[[nodiscard]] const CommandHelp* findCommand(std::string_view name);

/// The overview, and the page of one command.
[[nodiscard]] std::string overviewHelp();
[[nodiscard]] std::string commandHelp(const CommandHelp& command);

/// Takes what follows the program's name apart. Options may stand anywhere behind the command; after "--" everything
/// is an argument. `--json` and `--help` are options of every command. The error says what to write instead.
[[nodiscard]] Result<CommandRequest, std::string> parseCommandLine(std::span<const std::string> arguments);
/// The same checks for a request that came otherwise.
[[nodiscard]] Result<void, std::string> checkRequest(const CommandRequest& request);

}  // namespace tolvik
