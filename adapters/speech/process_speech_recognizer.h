#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "adapters/speech/speech_models.h"
#include "base/main_loop.h"
#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// The recogniser whose engine lives in a process of its own, so that hundreds of megabytes are there only while they
/// are used, and a crash costs one sentence. The process starts with `prepare()` or `begin()`, and ends after some idle
/// minutes, with this object, and with this process, however that dies.
class ProcessSpeechRecognizer final : public SpeechRecognizer {
public:
    struct Options {
        SpeechPlaces places = findSpeechPlaces();
        std::chrono::milliseconds idle = std::chrono::minutes(5);
        /// A process that loads and gives no sign of work for this long counts as hung. It gives one each second, by
        /// the work it has done and not by the clock: a busy machine makes it slow, not hung.
        std::chrono::milliseconds longestLoad = std::chrono::seconds(30);
        /// The same after `finish()`.
        std::chrono::milliseconds longestSilence = std::chrono::seconds(10);
    };
    explicit ProcessSpeechRecognizer(MainLoop& loop, Options options);
    ProcessSpeechRecognizer(MainLoop& loop, SpeechPlaces places);
    explicit ProcessSpeechRecognizer(MainLoop& loop) : ProcessSpeechRecognizer(loop, Options()) {}
    ProcessSpeechRecognizer(const ProcessSpeechRecognizer&) = delete;
    ProcessSpeechRecognizer& operator=(const ProcessSpeechRecognizer&) = delete;
    ~ProcessSpeechRecognizer() override;

    [[nodiscard]] bool isAvailable() const override;
    [[nodiscard]] std::string unavailableReason() const override;
    void prepare() override;
    [[nodiscard]] std::unique_ptr<SpeechSession> begin(int sampleRate, int channels, SpeechVocabulary vocabulary,
                                                       SpeechCallbacks callbacks) override;

    /// For the settings: the engine's present state. Main loop only, like all that follows.
    enum class State : std::uint8_t { off, loading, ready };
    [[nodiscard]] State state() const;
    /// The loaded model's name; empty unless ready.
    [[nodiscard]] std::string modelName() const;
    /// Other places, as of another model folder. A running process ends; the next utterance uses the new ones.
    void setPlaces(SpeechPlaces places);
    /// The process's id while it runs, else 0.
    [[nodiscard]] int processId() const;

private:
    struct Core;
    std::shared_ptr<Core> core_;
};

}  // namespace tolvik
