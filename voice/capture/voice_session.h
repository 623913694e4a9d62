#pragma once

#include <memory>
#include <optional>
#include <string>

#include "base/clock.h"
#include "base/main_loop.h"
#include "voice/capture/capture_buffer.h"
#include "voice/capture/microphone.h"
#include "voice/capture/push_to_talk_hotkey.h"
#include "voice/capture/recording_file.h"
#include "voice/capture/speech_recognizer.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// One press of the chord, from listening to the executed command.
struct VoiceSession {
    bool byToggle = false;
    /// The keys whose release ends it.
    PushToTalkHotkey hotkey;
    Instant startedAt;
    Instant releasedAt;
    /// Held for the minimum time.
    bool isPress = false;
    /// It began while an undo was offered: a mere tap takes it.
    bool tapUndoes = false;

    std::shared_ptr<CaptureBuffer> sound;
    AudioFormat format;
    std::unique_ptr<RecordingFile> file;
    std::unique_ptr<SpeechSession> speech;
    /// Counts the recogniser's starts; callbacks of an earlier one are dropped.
    int attempt = 0;
    bool isRestartingRecognition = false;

    /// While the recording is with the server as well: what each of the two has come to.
    bool isUploading = false;
    TranscriptionClient::Request request;
    std::optional<std::string> serverProblem;
    bool serverIsLate = false;
    std::optional<std::string> deviceText;
    bool deviceFailed = false;
    Timer patience;
    /// The text is settled and being carried out.
    bool isDecided = false;
    std::string note;

    // Destroyed before what its samples go to.
    std::unique_ptr<Microphone::Recording> recording;

    Timer cap;
    Timer minimum;
    Timer releaseCheck;
    Timer level;
    Timer preview;
    bool previewIsStale = false;
    Timer limit;

    void stopTimers() {
        for (Timer* timer : {&cap, &minimum, &releaseCheck, &level}) {
            timer->cancel();
        }
    }
};

}  // namespace tolvik
