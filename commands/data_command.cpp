#include "commands/data_command.h"

#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <system_error>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/words.h"
#include "dictionary/dictionary_manager.h"
#include "services/everything.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

CommandResponse keys(const DataPorts& data, const CommandRequest& request) {
    const auto all = data.values.keys();
    if (!all) {
        return refusal(request, ExitCode::environment, describe(all.error()));
    }
    return report(request.has("json") ? dumped(Json(*all)) : joined(*all, "\n") + (all->empty() ? "" : "\n"));
}

std::string counted(std::size_t count, std::string_view one, std::string_view several) {
    return fmt::format("{} {}", count, count == 1 ? one : several);
}

/// The caller writes the file: it knows who is allowed to.
CommandResponse exported(const DataPorts& data, const CommandRequest& request) {
    auto all = data.dictionary == nullptr ? data.store.exportAll() : exportEverything(data.store, *data.dictionary);
    return all ? report(std::move(*all)) : refusal(request, ExitCode::environment, describe(all.error()));
}

CommandResponse imported(const DataPorts& data, const CommandRequest& request, const std::string& path) {
    // A log of a million entries takes less. What is far larger would fill the memory before it is found to be no log.
    constexpr std::uintmax_t largest = std::uintmax_t{512} << 20U;
    std::error_code unknown;
    if (!std::filesystem::is_regular_file(path, unknown)) {
        return refusal(request, ExitCode::environment, fmt::format("Cannot read {}: it is no file.", path));
    }
    if (const auto size = std::filesystem::file_size(path, unknown); !unknown && size > largest) {
        return refusal(request, ExitCode::usage,
                       fmt::format("{} was not imported: it is larger than {} MB.", path, largest >> 20U));
    }
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    if (!file.is_open() || file.bad()) {
        return refusal(request, ExitCode::environment, fmt::format("Cannot read {}.", path));
    }
    const auto done = data.dictionary == nullptr
                          ? data.store.importAll(bytes)
                          : importEverything(data.store, *data.dictionary, data.values, data.clock, bytes);
    if (!done) {
        return refusal(request, ExitCode::usage, fmt::format("{} was not imported: {}", path, done.error()));
    }
    const auto& store = data.store;
    if (request.has("json")) {
        return report(dumped(Json{{"action", "import"},
                                  {"tasks", store.tasks().size()},
                                  {"projects", store.tags().size()},
                                  {"entries", store.timeEntries().size()},
                                  {"switches", store.switchLogs().size()}}));
    }
    return report(fmt::format("Imported {}, {}, {}, {}. The old log is kept: tolvik data keys\n",
                              counted(store.tasks().size(), "task", "tasks"),
                              counted(store.tags().size(), "project", "projects"),
                              counted(store.timeEntries().size(), "entry", "entries"),
                              counted(store.switchLogs().size(), "switch", "switches")));
}

}  // namespace

CommandResponse runData(const DataPorts& data, const CommandRequest& request) {
    const auto& verb = request.arguments.front();
    const bool hasOne = request.arguments.size() == 2;
    if (verb == "keys" && !hasOne) {
        return keys(data, request);
    }
    if (verb == "get" && hasOne) {
        const auto& key = request.arguments[1];
        // Kept in pieces, but told as the one value that it is.
        const auto value = key == DictionaryManager::storageKey ? storedVocabulary(data.values) : data.values.get(key);
        if (!value) {
            return refusal(request, ExitCode::environment, describe(value.error()));
        }
        return *value ? report(**value + "\n")
                      : refusal(request, ExitCode::nothing,
                                fmt::format("There is nothing under \"{}\". All keys: tolvik data keys",
                                            oneLine(request.arguments[1])));
    }
    if (verb == "export" && hasOne) {
        return exported(data, request);
    }
    if (verb == "import" && hasOne) {
        return imported(data, request, request.arguments[1]);
    }
    return refusal(request, ExitCode::usage, "Usage: tolvik data get KEY | keys | export FILE | import FILE");
}

}  // namespace tolvik
