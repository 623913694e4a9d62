#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "adapters/speech/grammar_listener.h"
#include "adapters/speech/speech_engine.h"
#include "adapters/speech/speech_models.h"
#include "base/result.h"
#include "voice/capture/speech_recognizer.h"
#include "voice/hearing/command_grammar.h"

namespace tolvik {

/// Everything that turns a stretch of speech into text, loaded into this process.
class Listening {
public:
    /// Blocks for some tenths of a second. Without the second opinion's files the engine works alone.
    [[nodiscard]] static Result<std::unique_ptr<Listening>, std::string> load(const SpeechPlaces& places);
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
    ~Listening();

    /// The user's words from now on. Any thread.
    void setVocabulary(const SpeechVocabulary& vocabulary);
    /// Whether the user's words count; for comparisons. Any thread.
    void setBias(bool on);

    struct Heard {
        std::string engineText;
        std::string text;
    };
    /// The text of 16 kHz samples that hold speech from close to their begin to close to their end; blocks for some
    /// tenths of a second. `mayBeCommand` is false for a piece of a longer speech, which stays as the engine wrote it.
    /// Any thread, several at once.
    [[nodiscard]] Heard hear(std::span<const float> samples, bool mayBeCommand);

    [[nodiscard]] const std::string& modelName() const { return modelName_; }

private:
    Listening(std::unique_ptr<SpeechEngine> engine, std::unique_ptr<Pronouncer> pronouncer,
              std::unique_ptr<GrammarListener> listener, std::string modelName);

    std::unique_ptr<SpeechEngine> engine_;
    std::unique_ptr<Pronouncer> pronouncer_;
    std::string modelName_;
    std::mutex grammarMutex_;  ///< guards what follows
    std::shared_ptr<const CommandGrammar> grammar_;
    bool bias_ = true;
    std::mutex listenerMutex_;  ///< guards the listener, which serves one thread at a time
    std::unique_ptr<GrammarListener> listener_;
    std::shared_ptr<const CommandGrammar> listenerGrammar_;
};

}  // namespace tolvik
