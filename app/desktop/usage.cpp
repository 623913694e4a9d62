#include "app/desktop/usage.h"

#include <QLocale>
#include <utility>

#include "backend/session.h"
#include "base/text.h"

namespace tolvik {
namespace {

Telemetry::Ports telemetryPorts(const Usage::Ports& ports) {
    const std::string region = QLocale::territoryToCode(QLocale::system().territory()).toStdString();
    return {.values = ports.services.values(),
            .upload = {ports.services.endpoint(), ports.services.session(), ports.services.http()},
            .loop = ports.loop,
            .clock = ports.clock,
            .random = ports.random,
            .folder = ports.services.paths().data,
            .region = region.empty() ? std::nullopt : std::optional(region),
            .appVersion = TOLVIK_VERSION,
            .workers = &ports.workers};
}

}  // namespace

Usage::Usage(Ports ports)
    : ports_(ports),
      telemetry_(telemetryPorts(ports)),
      // The token of an earlier run is still to be read; it is no sign-in.
      wasSignedIn_(!ports.services.session().email().empty()) {
    ports_.services.setSignedOut([this] {
        note("sign_out");
        telemetry_.userSignedOut();
        wasSignedIn_ = false;
    });
    sessionChanged_ = ports_.services.session().onChanged([this] {
        const bool isSignedIn = ports_.services.session().isSignedIn();
        if (isSignedIn && !std::exchange(wasSignedIn_, isSignedIn)) {
            note("sign_in");
        }
    });
}

Usage::~Usage() {
    ports_.services.setSignedOut({});
    telemetry_.save();
}

void Usage::note(std::string_view name, EventProperties properties) {
    ports_.trail.leave(name);
    telemetry_.track(name, std::move(properties));
}

void Usage::noteCrash(const CrashReport& report) {
    EventProperties properties{{"version", report.version},
                               {"startedAt", formatInstant(report.startedAt)},
                               {"crumbs", joined(report.crumbs, ", ")}};
    if (report.crashedAt) {
        properties.emplace("crashedAt", formatInstant(*report.crashedAt));
        properties.emplace("signal", report.signal);
    }
    telemetry_.track("crash", std::move(properties));
}

void Usage::follow(VoiceManager& voice) {
    voiceEnabled_ = voice.enabled();
    voiceChanged_ = voice.onChanged([this, &voice] { voiceChanged(voice); });
}

void Usage::voiceChanged(const VoiceManager& voice) {
    if (voice.enabled() != voiceEnabled_) {
        voiceEnabled_ = voice.enabled();
        note("voice_enabled", {{"on", voiceEnabled_}});
    }
    const VoicePhase before = std::exchange(phase_, voice.phase());
    if (phase_ == before) {
        return;
    }
    switch (phase_) {
        case VoicePhase::idle:
            break;
        case VoicePhase::listening:
            ports_.trail.leave("listening");
            uploadedBytes_.reset();
            break;
        case VoicePhase::transcribing:
            ports_.trail.leave("transcribing");
            releasedAt_ = ports_.clock.now();
            transcribedAt_.reset();
            break;
        case VoicePhase::done:
            if (const auto& outcome = voice.doneOutcome(); outcome && before == VoicePhase::transcribing) {
                ports_.trail.leave("spoken " + outcome->action);
                const bool byServer = outcome->method == "backend";
                VoiceEvent event{.at = ports_.clock.now(),
                                 .transcript = outcome->transcript,
                                 .action = outcome->action,
                                 .taskTitle = outcome->taskTitle,
                                 .method = outcome->method,
                                 .confidence = outcome->confidence,
                                 .resolvedLocally = !byServer,
                                 .llmFallback = byServer,
                                 .latencyMs = (ports_.clock.now() - releasedAt_).count(),
                                 .transcribeMs = {},
                                 .audioBytes = uploadedBytes_};
                if (transcribedAt_) {
                    event.transcribeMs = (*transcribedAt_ - releasedAt_).count();
                }
                telemetry_.record(std::move(event));
            }
            break;
    }
}

}  // namespace tolvik
