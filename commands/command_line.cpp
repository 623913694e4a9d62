#include "commands/command_line.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <limits>
#include <optional>
#include <utility>

#include "commands/likeness.h"

namespace tolvik {
namespace {

constexpr std::size_t kWords = std::numeric_limits<std::size_t>::max();
constexpr OptionHelp kJson{"json", "", "print JSON"};
constexpr OptionHelp kHelp{"help", "", "show this page"};
constexpr std::string_view kTaskDetails =
    "The task is named by its id, its exact title, or a part of the title that only one task has.\n"
    "Open tasks come before finished ones.";

constexpr std::string_view kRangeDetails =
    "A month ends today, a quarter has 13 weeks, a half 26, a year 12 months. DAY is yyyy-mm-dd, today, yesterday\n"
    "or a number of days back. Exports reach at most one year.";

std::vector<OptionHelp> rangeOptions(std::vector<OptionHelp> others) {
    others.insert(others.begin(), {{"range", "RANGE", "month, quarter, half or year (default: month)"},
                                   {"from", "DAY", "the first day of another range"},
                                   {"to", "DAY", "its last day (default: today)"},
                                   {"project", "NAME", "only this project"},
                                   {"no-project", "", "only tasks without a project"}});
    return others;
}

const std::vector<CommandHelp>& table() {
    static const std::vector<CommandHelp> commands = {
        {"status", "", "what runs now", 0, 0, {}, "", false},
        {"start", "TITLE", "start a new task", 1, kWords, {{"reason", "TEXT", "why you switch"}}, "", false},
        {"switch",
         "TITLE|ID",
         "go on with a task",
         1,
         kWords,
         {{"reason", "TEXT", "why you switch"}},
         kTaskDetails,
         false},
        {"stop", "", "stop the running task", 0, 0, {}, "", false},
        {"done", "[TITLE|ID]", "finish a task, or the running one", 0, kWords, {}, kTaskDetails, false},
        {"resume", "", "go back to the task that ran last", 0, 0, {}, "", false},
        {"undo", "", "take the last change back, once", 0, 0, {}, "", false},
        {"log",
         "",
         "the entries of a day",
         0,
         0,
         {{"day", "DAY", "yyyy-mm-dd, today, yesterday or a number of days back (default: today)"}},
         "",
         false},
        {"tasks",
         "",
         "open tasks, latest first; the numbers can be spoken",
         0,
         0,
         {{"all", "", "every open and finished task"}},
         "",
         false},
        {"report", "", "where the time of a month, a year or any range went", 0, 0,
         rangeOptions({{"width", "COLUMNS", "how wide to write (default: the terminal)"}}), kRangeDetails, false},
        {"export", "--csv|--json|--pdf FILE", "the entries of a range as a file; - is the output", 0, 0,
         rangeOptions({{"csv", "FILE", "a table for spreadsheet programs"},
                       {"json", "FILE", "for other programs"},
                       {"pdf", "FILE", "for reading and printing"}}),
         kRangeDetails, false},
        {"project",
         "list | add NAME | rename NAME NEW | delete NAME | use NAME|none",
         "your projects, and the one that new tasks go to",
         1,
         kWords,
         {},
         "A name of several words is quoted for rename. Deleting a project keeps its tasks.\n"
         "New tasks go to the project that is used, and its terms help dictation.",
         false},
        {"vocabulary",
         "list | add TERM | edit TERM | delete TERM | import FILE",
         "names and terms that dictation should know",
         1,
         kWords,
         {{"hint", "TEXT", "what the term is, such as a person's role"},
          {"term", "TERM", "the new text of an edited term"},
          {"project", "NAME", "the terms of this project instead of the personal ones"},
          {"plain", "", "import as plain lines what looks like JSON and is none"}},
         "A file holds a JSON array of terms, a JSON object from term to hint, a JSON array of\n"
         "{\"term\",\"hint\"}, or plain lines such as: Tamsin (team member)\n"
         "Terms that are there already are left out.",
         false},
        {"edit",
         "TITLE|ID",
         "change a task's title or project",
         1,
         kWords,
         {{"title", "TITLE", "the new title"},
          {"project", "NAME", "put it into this project"},
          {"no-project", "", "take it out of its project"}},
         kTaskDetails,
         false},
        {"delete", "TITLE|ID", "delete a task with its time", 1, kWords, {}, kTaskDetails, false},
        {"say",
         "TEXT",
         "carry a sentence out as if it were spoken",
         1,
         kWords,
         {{"dry-run", "", "only tell what it would do"}},
         "",
         false},
        {"hear",
         "FILE",
         "recognise a recording (.wav, .m4a) and carry it out",
         1,
         1,
         {{"dry-run", "", "only tell what it would do"}},
         "",
         false},
        {"parse",
         "[TEXT]",
         "what a sentence would do, changing nothing",
         0,
         kWords,
         {{"tasks", "FILE", "candidates: JSON array of {\"id\",\"title\",\"position\",\"isActive\"}"},
          {"stdin", "", "one sentence a line in, one JSON object a line out"}},
         "Without --tasks the log's own tasks are the candidates.",
         false},
        {"data",
         "get KEY | keys | export FILE | import FILE",
         "everything in one file, to keep or to move; single values as they are",
         1,
         2,
         {},
         "An import replaces the log and the vocabulary that the file holds, and keeps the old ones aside.\n"
         "Where you are signed in, your other devices follow.",
         false},
        {"ask",
         "QUESTION",
         "a question about tracked time, answered on this device",
         1,
         kWords,
         {},
         "For example: tolvik ask how much time on Reading last week\n"
         "             tolvik ask longest day this month\n"
         "What is not understood for sure is refused, with exit code 1.",
         false},
        {"telemetry",
         "on | off | show",
         "usage that may be sent: on, off, or the very bytes",
         1,
         1,
         {},
         "Until it is turned on, nothing is recorded. Turning it off deletes what was.",
         false},
        {"sign-in",
         "EMAIL",
         "sign in with a code that is sent by e-mail",
         1,
         1,
         {{"code", "NNNNNN", "the code from the e-mail"}},
         "Without --code, a code is sent. An account is never required.",
         false},
        {"sign-out", "", "send what waits, then sign out; the log stays here", 0, 0, {}, "", false},
        {"account",
         "[name NAME | delete]",
         "who is signed in, and what waits to be sent",
         0,
         kWords,
         {{"yes", "", "delete the account without asking"}},
         "\"name\" changes your name, \"delete\" the account: what the server has is removed.\n"
         "The log on this device stays.",
         false},
        {"sync", "", "send what waits, then fetch everything, within 20 seconds", 0, 0, {}, "", false},
        {"doctor", "", "what is there, what is missing, and what to do about it", 0, 0, {}, "", false},
        {"raise", "", "bring the desktop's window to the front", 0, 0, {}, "", true},
        {"log-part", "FIRST LAST", "the records of an export", 2, 2, rangeOptions({}), "", true},
        {"candidates", "", "the open tasks as the parser gets them", 0, 0, {}, "", true},
        {"speech-words", "", "titles, project names and terms for the recogniser", 0, 0, {}, "", true},
        {"health", "", "the log's sizes and whether its file is whole", 0, 0, {}, "", true},
    };
    return commands;
}

std::optional<OptionHelp> findOption(const CommandHelp& command, std::string_view name) {
    if (const auto own = std::ranges::find(command.options, name, &OptionHelp::name); own != command.options.end()) {
        return *own;
    }
    if (name == kJson.name) {
        return kJson;
    }
    if (name == kHelp.name) {
        return kHelp;
    }
    // Set by the program where the output is a terminal.
    if (name == "colour") {
        return OptionHelp{"colour", "", ""};
    }
    return std::nullopt;
}

/// What people call a command elsewhere, or as they would say it.
std::optional<std::string> meantBy(std::string_view word) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 16> others{{
        {"pause", "stop"},
        {"finish", "done"},
        {"complete", "done"},
        {"continue", "resume"},
        {"back", "resume"},
        {"add", "start"},
        {"new", "start"},
        {"begin", "start"},
        {"track", "start"},
        {"rm", "delete"},
        {"remove", "delete"},
        {"rename", "edit"},
        {"list", "tasks"},
        {"today", "log"},
        {"login", "sign-in"},
        {"logout", "sign-out"},
    }};
    const auto found = std::ranges::find(others, word, &std::pair<std::string_view, std::string_view>::first);
    if (found != others.end()) {
        return std::string(found->second);
    }
    std::vector<std::string> names;
    for (const auto& one : table()) {
        if (!one.internal) {
            names.emplace_back(one.name);
        }
    }
    return likest(word, names);
}

/// True for "--json" and its like: a value that was forgotten, not a value. "--title=--json" gives it nevertheless.
bool isOptionOf(const CommandHelp& command, std::string_view argument) {
    return argument.starts_with("--") && findOption(command, argument.substr(2)).has_value();
}

std::string usageOf(const CommandHelp& command) {
    return fmt::format("tolvik {}{}{}", command.name, command.arguments.empty() ? "" : " ", command.arguments);
}

std::string tryHelp(const CommandHelp& command) {
    return fmt::format("Usage: {}\nMore with: tolvik {} --help", usageOf(command), command.name);
}

Result<void, std::string> countedRight(const CommandHelp& command, const CommandRequest& request) {
    if (request.arguments.size() < command.fewestArguments) {
        return failure(fmt::format("\"{}\" needs {}.\n{}", command.name, command.arguments, tryHelp(command)));
    }
    if (request.arguments.size() > command.mostArguments) {
        return failure(fmt::format("\"{}\" does not take \"{}\".\n{}", command.name,
                                   request.arguments[command.mostArguments], tryHelp(command)));
    }
    return {};
}

}  // namespace

std::span<const CommandHelp> allCommands() {
    return table();
}

const CommandHelp* findCommand(std::string_view name) {
    const auto found = std::ranges::find(table(), name, &CommandHelp::name);
    return found == table().end() ? nullptr : &*found;
}

std::string overviewHelp() {
    std::string help =
        "tolvik keeps the log of what you work on.\n\n"
        "  tolvik                 open the desktop application, or raise its window\n";
    for (const auto& command : table()) {
        if (!command.internal) {
            // What would stand beyond its column is told by the command's own page.
            constexpr std::size_t column = 22;
            const auto usage = usageOf(command);
            const auto form = usage.size() > column ? fmt::format("tolvik {} …", command.name) : usage;
            help += fmt::format("  {:<{}} {}\n", form, column, command.summary);
        }
    }
    help +=
        "\nEvery command takes --json and --help.\n"
        "Exit codes: 0 done, 1 nothing done, 2 wrong usage, 3 the environment failed.\n";
    return help;
}

std::string commandHelp(const CommandHelp& command) {
    std::string help = fmt::format("{}\n  {}\n\nOptions:\n", usageOf(command), command.summary);
    auto options = command.options;
    if (std::ranges::find(options, kJson.name, &OptionHelp::name) == options.end()) {
        options.push_back(kJson);
    }
    options.push_back(kHelp);
    for (const auto& option : options) {
        const auto form = fmt::format("--{}{}{}", option.name, option.value.empty() ? "" : " ", option.value);
        help += fmt::format("  {:<18} {}\n", form, option.help);
    }
    if (!command.details.empty()) {
        help += fmt::format("\n{}\n", command.details);
    }
    return help;
}

Result<CommandRequest, std::string> parseCommandLine(std::span<const std::string> arguments) {
    if (arguments.empty()) {
        return failure(std::string("No command. See: tolvik --help"));
    }
    CommandRequest request;
    request.command = arguments.front();
    const CommandHelp* command = findCommand(request.command);
    if (command == nullptr) {
        const auto near = meantBy(request.command);
        return failure(fmt::format("There is no command \"{}\".{}\nAll commands: tolvik --help", request.command,
                                   near ? fmt::format(" Did you mean \"{}\"?", *near) : ""));
    }
    bool optionsOver = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        std::string_view argument = arguments[i];
        if (optionsOver || !argument.starts_with('-') || argument == "-") {
            request.arguments.emplace_back(argument);
            continue;
        }
        if (argument == "--") {
            optionsOver = true;
            continue;
        }
        if (argument == "-h") {
            argument = "--help";
        }
        const auto equals = argument.find('=');
        const auto name = argument.substr(0, equals);
        const auto option = name.starts_with("--") ? findOption(*command, name.substr(2)) : std::nullopt;
        if (!option) {
            return failure(
                fmt::format("\"{}\" has no option {}. A text that begins with a dash goes behind \"--\".\n{}",
                            command->name, name, tryHelp(*command)));
        }
        std::string value;
        if (option->value.empty()) {
            if (equals != std::string_view::npos) {
                return failure(fmt::format("{} takes no value.\n{}", name, tryHelp(*command)));
            }
        } else if (equals != std::string_view::npos) {
            value = argument.substr(equals + 1);
        } else if (i + 1 < arguments.size() && !isOptionOf(*command, arguments[i + 1])) {
            value = arguments[++i];
        } else {
            return failure(fmt::format("{} needs {}.\n{}", name, option->value, tryHelp(*command)));
        }
        request.options[std::string(option->name)] = std::move(value);
    }
    if (request.has("help")) {
        return request;
    }
    if (const auto counted = countedRight(*command, request); !counted) {
        return failure(counted.error());
    }
    return request;
}

Result<void, std::string> checkRequest(const CommandRequest& request) {
    const CommandHelp* command = findCommand(request.command);
    if (command == nullptr) {
        return failure(fmt::format("There is no command \"{}\".", request.command));
    }
    for (const auto& [name, value] : request.options) {
        if (!findOption(*command, name)) {
            return failure(fmt::format("\"{}\" has no option --{}.", request.command, name));
        }
    }
    return countedRight(*command, request);
}

}  // namespace tolvik
