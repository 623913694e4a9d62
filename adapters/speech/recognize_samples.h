#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "adapters/speech/speech_models.h"
#include "base/result.h"
#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// What a finished recording says.
struct RecognizedSpeech {
    /// Without trailing punctuation; empty when nothing was said.
    std::string text;
    /// From the last sample to the text, the engine being loaded, in milliseconds.
    std::int64_t transcribeMs = 0;
};

/// Recognises a whole recording in a speech process of its own and waits for it; for programs without a main loop.
/// `interleaved` holds frames x channels samples in [-1, 1]. The error is for the user.
[[nodiscard]] Result<RecognizedSpeech, std::string> recognizeSamples(const SpeechPlaces& places,
                                                                     const SpeechVocabulary& vocabulary, int sampleRate,
                                                                     int channels, std::span<const float> interleaved);

}  // namespace tolvik
