#pragma once

#include <fstream>
#include <memory>
#include <string>

#include "base/clock.h"
#include "base/subscription.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// Writes each state of a push-to-talk session to a file, one JSON object a line, for whoever drives the application
/// from outside and wants to know what it heard: {"at": milliseconds since 1970, "state": {"phase", "transcript",
/// "pending" (the title that the words so far mean, absent without one), "done" and "action" (of the outcome, in the
/// phase "done"), "error", "releaseToDoneMs" and "chordToFirstSamplesMs" (of the last session, once known)}}.
/// It holds what was said, so nothing is written unless a person names a file. Main loop only.
class VoiceTrace {
public:
    /// Appends to `path`. Manager and clock outlive the trace.
    VoiceTrace(VoiceManager& voice, const Clock& clock, const std::string& path);

    /// Writes to the file that the environment's TOLVIK_TRACE_VOICE names; null when it names none.
    [[nodiscard]] static std::unique_ptr<VoiceTrace> fromEnvironment(VoiceManager& voice, const Clock& clock);

private:
    void note();

    VoiceManager& voice_;
    const Clock& clock_;
    std::ofstream file_;
    std::string last_;
    Subscription changed_;
};

}  // namespace tolvik
