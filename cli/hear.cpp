#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>

#include "base/text.h"
#include "cli/carry.h"
#include "cli/commands_here.h"
#include "cli/subprocess.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

struct Heard {
    std::string text;
    std::int64_t transcribeMs = 0;
};

/// Runs the program that has the sound and speech libraries; the error is for the user.
Result<Heard, std::string> hear(const Paths& paths, const std::string& file, const std::string& vocabulary) {
    const auto program = paths.programs / "tolvik-hear";
    const auto output = runSubprocess(program, {file}, vocabulary);
    if (!output) {
        return failure(output.error());
    }
    const Json json = Json::parse(*output, nullptr, false);
    if (json.is_object() && json.contains("error") && json["error"].is_string()) {
        return failure(json["error"].get<std::string>());
    }
    if (!json.is_object() || !json.contains("text") || !json["text"].is_string() || !json.contains("transcribeMs") ||
        !json["transcribeMs"].is_number_integer()) {
        return failure(std::string("Recognition ended without a result. See: tolvik doctor"));
    }
    return Heard{json["text"].get<std::string>(), json["transcribeMs"].get<std::int64_t>()};
}

/// The outcome's keys with the time that recognition took.
std::string withTime(const std::string& outcome, std::int64_t transcribeMs) {
    Json json = Json::parse(outcome, nullptr, false);
    if (!json.is_object()) {
        return outcome;
    }
    json["transcribeMs"] = transcribeMs;
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

ExitCode runHear(const Paths& paths, const CommandRequest& request) {
    const auto vocabulary = carryOut(paths, {"speech-words", {}, {}});
    if (vocabulary.exit != ExitCode::done) {
        return print(refused(request, vocabulary.exit, trimmed(vocabulary.error)));
    }
    const auto heard = hear(paths, request.arguments.front(), vocabulary.out);
    if (!heard) {
        return print(refused(request, ExitCode::environment, heard.error()));
    }
    CommandRequest sentence{"say", {heard->text}, {}};
    for (const char* option : {"json", "dry-run", "colour"}) {
        if (request.has(option)) {
            sentence.options.emplace(option, "");
        }
    }
    auto response = carryOut(paths, sentence);
    if (request.has("json")) {
        response.out = withTime(response.out, heard->transcribeMs);
    } else if (trimmed(heard->text).empty()) {
        response.error += "Nothing was said.\n";
    } else {
        response.out = fmt::format("“{}”\n{}", heard->text, response.out);
    }
    return print(response);
}

}  // namespace tolvik
