#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/main_loop.h"
#include "services/log_services.h"
#include "telemetry/crash/crash_trail.h"
#include "telemetry/telemetry.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// What is done with the application, noted in two places: by name in the crash trail, which stays here, and as an
/// event in telemetry, where the user allows it. Main loop only.
///
/// The events are: app_start {hidden}, page_open {page}, onboarding_step {step}, onboarding_completed {skipped, spoke},
/// onboarding_reset, update_check, voice_enabled {on}, sign_in, sign_out, data_export, data_import, crash {version,
/// signal, startedAt, crashedAt, crumbs}; and a voice event for each spoken command.
class Usage {
public:
    struct Ports {
        LogServices& services;
        const Clock& clock;
        Random& random;
        MainLoop& loop;
        Workers& workers;
        CrashTrail& trail;
    };
    explicit Usage(Ports ports);
    Usage(const Usage&) = delete;
    Usage& operator=(const Usage&) = delete;
    /// Writes what waits.
    ~Usage();

    [[nodiscard]] Telemetry& telemetry() { return telemetry_; }
    void note(std::string_view name, EventProperties properties = {});
    void noteCrash(const CrashReport& report);
    /// Counts spoken commands from now on; the manager outlives this.
    void follow(VoiceManager& voice);
    /// What was said is known, and will be carried out now.
    void transcribed() { transcribedAt_ = ports_.clock.now(); }
    /// A recording of so many bytes is on its way to the server.
    void uploading(std::size_t bytes) { uploadedBytes_ = static_cast<std::int64_t>(bytes); }

private:
    void voiceChanged(const VoiceManager& voice);

    Ports ports_;
    Telemetry telemetry_;
    VoicePhase phase_ = VoicePhase::idle;
    bool voiceEnabled_ = false;
    Instant releasedAt_;
    std::optional<Instant> transcribedAt_;
    std::optional<std::int64_t> uploadedBytes_;
    bool wasSignedIn_;
    Subscription voiceChanged_;
    Subscription sessionChanged_;
};

}  // namespace tolvik
