#include "commands/data_command.h"

#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "commands/answers.h"
#include "commands/words.h"
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

/// The caller writes the file: it knows who is allowed to.
CommandResponse exported(const DataPorts& data, const CommandRequest& request) {
    auto all = data.dictionary == nullptr ? data.store.exportAll() : exportEverything(data.store, *data.dictionary);
    return all ? report(std::move(*all)) : refusal(request, ExitCode::environment, describe(all.error()));
}

CommandResponse imported(const DataPorts& data, const CommandRequest& request, const std::string& path) {
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
    return report(
        fmt::format("Imported {} tasks, {} projects, {} entries, {} switches. The old log is kept: "
                    "tolvik data keys\n",
                    store.tasks().size(), store.tags().size(), store.timeEntries().size(), store.switchLogs().size()));
}

}  // namespace

CommandResponse runData(const DataPorts& data, const CommandRequest& request) {
    const auto& verb = request.arguments.front();
    const bool hasOne = request.arguments.size() == 2;
    if (verb == "keys" && !hasOne) {
        return keys(data, request);
    }
    if (verb == "get" && hasOne) {
        const auto value = data.values.get(request.arguments[1]);
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
