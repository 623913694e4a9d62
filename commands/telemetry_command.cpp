#include "commands/telemetry_command.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/answers.h"
#include "telemetry/consent.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

std::string_view nameOf(Consent consent) {
    switch (consent) {
        case Consent::yes:
            return "on";
        case Consent::no:
            return "off";
        case Consent::notAsked:
            return "not asked";
    }
    return "";
}

/// Where the bytes would go, and the bytes themselves.
std::string uploadLines(std::string_view path, const std::string& body) {
    return body.empty() ? fmt::format("Nothing waits for {}.\n", path) : fmt::format("Next to {}:\n{}\n", path, body);
}

CommandResponse shown(const ValueStore& values, const std::filesystem::path& folder, const CommandRequest& request) {
    const auto consent = consentIn(values);
    const auto preview = consent == Consent::yes ? previewIn(folder) : TelemetryPreview{};
    if (request.has("json")) {
        return {ExitCode::done,
                dumped(Json{{"consent", nameOf(consent)}, {"product", preview.product}, {"voice", preview.voice}}),
                {}};
    }
    if (consent != Consent::yes) {
        return {ExitCode::done,
                fmt::format("Telemetry is {}: nothing is recorded and nothing is sent.\n",
                            consent == Consent::no ? "off" : "off until you allow it"),
                {}};
    }
    return {ExitCode::done,
            "Telemetry is on. What is sent, byte for byte, while you are signed in:\n" +
                uploadLines("/analytics/ingest", preview.product) + uploadLines("/analytics/voice", preview.voice),
            {}};
}

}  // namespace

CommandResponse runTelemetry(ValueStore& values, const std::filesystem::path& folder, const CommandRequest& request) {
    const auto& verb = request.arguments.front();
    if (folder.empty()) {
        return refusal(request, ExitCode::environment, "There is no telemetry here.");
    }
    if (verb == "show") {
        return shown(values, folder, request);
    }
    if (verb != "on" && verb != "off") {
        return refusal(request, ExitCode::usage, "Usage: tolvik telemetry on | off | show");
    }
    const bool isOn = verb == "on";
    if (const auto kept = setConsent(values, folder, isOn); !kept) {
        return refusal(request, ExitCode::environment, describe(kept.error()));
    }
    if (request.has("json")) {
        return {ExitCode::done, dumped(Json{{"consent", verb}}), {}};
    }
    return {ExitCode::done,
            isOn ? "Telemetry is on. See what is sent: tolvik telemetry show\n"
                 : "Telemetry is off. What was recorded is deleted.\n",
            {}};
}

}  // namespace tolvik
