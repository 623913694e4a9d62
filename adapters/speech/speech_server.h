#pragma once

#include <chrono>

#include "adapters/speech/speech_models.h"

namespace tolvik {

/// The speech process: serves one application over `socket` until it closes, or until no message came for `idle`.
/// Returns the process's exit code; the caller ends at once, without waiting for a decode under way.
[[nodiscard]] int serveSpeech(int socket, const SpeechPlaces& places, std::chrono::milliseconds idle);

}  // namespace tolvik
