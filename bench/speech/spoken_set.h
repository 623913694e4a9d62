#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// One clip and what was meant by it; "#2" as a task is the second of the list, "#-1" the last.
struct SpokenClip {
    std::string voice;
    std::filesystem::path file;
    std::string kind;  ///< "full", "part", "new", "bare", "other", or the kind of a noise
    std::string sentence;
    std::string action;
    std::string task;
};

/// A set as make_clips.py wrote it. Ends the program with a message when it is not there.
struct SpokenSet {
    std::vector<SpokenClip> clips;
    SpeechVocabulary vocabulary;
};
[[nodiscard]] SpokenSet readSpokenSet(const std::filesystem::path& folder, const std::string& name);

/// The samples of a 16-bit, 16 kHz, one-channel .wav file. Ends the program with a message when it is none.
[[nodiscard]] std::vector<float> readClip(const std::filesystem::path& file);

}  // namespace tolvik
