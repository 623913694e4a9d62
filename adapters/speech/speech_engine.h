#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>

#include "adapters/speech/speech_models.h"
#include "base/result.h"

namespace tolvik {

/// The neural recogniser, loaded into this process: hundreds of megabytes. Only the child process makes one.
class SpeechEngine {
public:
    /// Loads the library and the model; takes some tenths of a second. The error says what is missing.
    [[nodiscard]] static Result<std::unique_ptr<SpeechEngine>, std::string> load(const std::filesystem::path& library,
                                                                                 const SpeechModel& model);
    ~SpeechEngine();
    SpeechEngine(const SpeechEngine&) = delete;
    SpeechEngine& operator=(const SpeechEngine&) = delete;

    /// The words in 16 kHz samples, as the model writes them; empty when it hears none. Blocks for some tenths of a
    /// second. Any thread, several at once.
    [[nodiscard]] std::string decode(std::span<const float> samples) const;

private:
    struct Impl;
    explicit SpeechEngine(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
