#include <chrono>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "base/text.h"
#include "cli/carry.h"
#include "cli/commands_here.h"
#include "cli/server_hearing.h"
#include "cli/subprocess.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

struct Heard {
    std::string text;
    std::int64_t transcribeMs = 0;
    bool byServer = false;
    /// Why it was not the server, for the user; empty when it was not asked.
    std::string note = {};
};

/// How long the server may take when this device heard nothing itself.
constexpr Millis kAlonePatience{15'000};

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

std::vector<std::string> texts(const Json& json, const char* key) {
    const auto found = json.find(key);
    return found != json.end() && found->is_array() ? found->get<std::vector<std::string>>()
                                                    : std::vector<std::string>();
}

HearingWords hearingWords(const std::string& vocabulary) {
    const Json json = Json::parse(vocabulary, nullptr, false);
    if (!json.is_object()) {
        return {};
    }
    HearingWords words{json.value("email", std::string()),
                       {json.value("role", std::string()), {}, texts(json, "shown"), texts(json, "terms")}};
    if (const auto project = json.find("project"); project != json.end() && project->is_string()) {
        words.prompt.project = project->get<std::string>();
    }
    return words;
}

/// The server's text when somebody is signed in and it answers, else this device's. The error is for the user.
Result<Heard, std::string> hearBoth(const Paths& paths, const std::string& file, const std::string& vocabulary) {
    const auto begun = std::chrono::steady_clock::now();
    ServerHearing server(paths, hearingWords(vocabulary), file);
    auto here = hear(paths, file, vocabulary);
    const auto there = server.await(here ? VoiceManager::serverPatience : kAlonePatience);
    if (!there) {
        return here;
    }
    if (*there) {
        const auto took = std::chrono::steady_clock::now() - begun;
        return Heard{**there, std::chrono::duration_cast<Millis>(took).count(), true};
    }
    if (!there->error().deviceTextServes) {
        return failure(there->error().text);
    }
    if (here) {
        here->note = "Heard on this device: " + there->error().text + "\n";
    }
    return here;
}

/// The outcome's keys with the time that recognition took, and where.
std::string withHearing(const std::string& outcome, const Heard& heard) {
    Json json = Json::parse(outcome, nullptr, false);
    if (!json.is_object()) {
        return outcome;
    }
    json["transcribeMs"] = heard.transcribeMs;
    json["heardBy"] = heard.byServer ? "server" : "device";
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace

ExitCode runHear(const Paths& paths, const CommandRequest& request) {
    const auto vocabulary = carryOut(paths, {"speech-words", {}, {}});
    if (vocabulary.exit != ExitCode::done) {
        return print(refused(request, vocabulary.exit, trimmed(vocabulary.error)));
    }
    const auto heard = hearBoth(paths, request.arguments.front(), vocabulary.out);
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
    response.error += heard->note;
    if (request.has("json")) {
        response.out = withHearing(response.out, *heard);
    } else if (!trimmed(heard->text).empty()) {
        response.out = fmt::format("“{}”\n{}", heard->text, response.out);
    }
    return print(response);
}

}  // namespace tolvik
