#pragma once

#include <string_view>

#include "voice/capture/speech_recognizer.h"

namespace tolvik::server {

/// The user's words in a transcription prompt as clients write it: sentences on the project, recent task titles and
/// the vocabulary. What is not of these forms gives nothing. Each list is bounded.
[[nodiscard]] SpeechVocabulary vocabularyOfPrompt(std::string_view prompt);

}  // namespace tolvik::server
