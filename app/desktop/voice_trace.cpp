#include "app/desktop/voice_trace.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include "base/json_writer.h"

namespace tolvik {
namespace {

std::string_view phaseName(VoicePhase phase) {
    switch (phase) {
        case VoicePhase::idle:
            return "idle";
        case VoicePhase::listening:
            return "listening";
        case VoicePhase::transcribing:
            return "transcribing";
        case VoicePhase::done:
            return "done";
    }
    return "";
}

}  // namespace

VoiceTrace::VoiceTrace(VoiceManager& voice, const Clock& clock, const std::string& path)
    : voice_(voice), clock_(clock), file_(path, std::ios::app), changed_(voice.onChanged([this] { note(); })) {
    note();
}

std::unique_ptr<VoiceTrace> VoiceTrace::fromEnvironment(VoiceManager& voice, const Clock& clock) {
    const char* path = std::getenv("TOLVIK_TRACE_VOICE");
    return path != nullptr && *path != '\0' ? std::make_unique<VoiceTrace>(voice, clock, path) : nullptr;
}

void VoiceTrace::note() {
    std::string state;
    {
        JsonObjectWriter json(state);
        json.text("phase", phaseName(voice_.phase()));
        json.text("transcript", voice_.transcript());
        if (voice_.pending())
            json.text("pending", voice_.pending()->taskTitle);
        if (voice_.phase() == VoicePhase::done) {
            json.text("done", voice_.doneText());
            if (voice_.doneOutcome())
                json.text("action", voice_.doneOutcome()->action);
        }
        if (voice_.error())
            json.text("error", *voice_.error());
        const auto& timings = voice_.lastTimings();
        if (timings.releaseToDone)
            json.number("releaseToDoneMs", timings.releaseToDone->count());
        if (timings.chordToFirstSamples)
            json.number("chordToFirstSamplesMs", timings.chordToFirstSamples->count());
    }
    // Levels change twenty times a second and are no news.
    if (state == last_)
        return;
    last_ = state;
    std::string line;
    {
        JsonObjectWriter json(line);
        json.number("at", clock_.now().ms);
        json.raw("state", state);
    }
    file_ << line << '\n' << std::flush;
}

}  // namespace tolvik
