#include <iostream>
#include <string>

#include "cli/carry.h"
#include "cli/commands_here.h"
#include "cli/files.h"
#include "commands/parse_lines.h"
#include "services/lazy_embedder.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik {

ExitCode runParse(const Paths& paths, const CommandRequest& request) {
    if (request.has("stdin") != request.arguments.empty()) {
        return print(
            refused(request, ExitCode::usage, "Give either a sentence or --stdin.\nMore with: tolvik parse --help"));
    }
    std::string list;
    std::string place;
    if (const auto file = request.option("tasks")) {
        auto bytes = readFile(*file);
        if (!bytes) {
            return print(refused(request, ExitCode::environment, bytes.error()));
        }
        list = std::move(*bytes);
        place = *file;
    } else {
        auto response = carryOut(paths, {"candidates", {}, {}});
        if (response.exit != ExitCode::done) {
            return print(refused(request, response.exit, response.error));
        }
        list = std::move(response.out);
        place = "the log";
    }
    const auto tasks = readCandidates(list);
    if (!tasks) {
        return print(refused(request, ExitCode::usage, "The tasks in " + place + " cannot be read: " + tasks.error()));
    }
    LazyEmbedder embedder(paths.embeddingModule(), paths.embeddingModel());
    const LocalVoiceParser parser(&embedder);
    if (!request.has("stdin")) {
        const auto result = parser.parse(request.text(), *tasks);
        return print({ExitCode::done, (request.has("json") ? parseJson(result) : parseWords(result)) + "\n", {}});
    }
    // One line in, one line out: whoever writes the next line may wait for the answer to this one.
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (!writeOut(1, parseJson(parser.parse(line, *tasks)) + "\n")) {
            return ExitCode::environment;
        }
    }
    return ExitCode::done;
}

}  // namespace tolvik
