#pragma once

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "base/result.h"
#include "voice/capture/microphone.h"

namespace tolvik {

/// An open sound file. Destroying it closes and completes the file.
class AudioFile {
public:
    AudioFile() = default;
    AudioFile(const AudioFile&) = delete;
    AudioFile& operator=(const AudioFile&) = delete;
    virtual ~AudioFile() = default;

    /// Appends interleaved samples. A write that fails loses these samples and nothing else.
    virtual void append(std::span<const float> interleaved) = 0;
};

/// Writes and reads the recordings: AAC at 64 kbit/s in an MPEG-4 container, at the input's rate and channels.
class AudioFileCodec {
public:
    AudioFileCodec() = default;
    AudioFileCodec(const AudioFileCodec&) = delete;
    AudioFileCodec& operator=(const AudioFileCodec&) = delete;
    virtual ~AudioFileCodec() = default;

    [[nodiscard]] virtual Result<std::unique_ptr<AudioFile>, std::string> create(const std::filesystem::path& file,
                                                                                 AudioFormat format) = 0;
    struct Sound {
        AudioFormat format;
        std::vector<float> interleaved;
    };
    /// Decodes a .m4a or .wav file whole; the error says what is wrong with it.
    [[nodiscard]] virtual Result<Sound, std::string> read(const std::filesystem::path& file) = 0;
};

}  // namespace tolvik
