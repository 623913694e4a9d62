#pragma once

#include <memory>
#include <string>

#include "voice/capture/audio_file_writer.h"

namespace tolvik {

/// Sound files by libavcodec and libavformat. No state; any thread, each file from one thread at a time.
class AvAudioFileCodec final : public AudioFileCodec {
public:
    [[nodiscard]] Result<std::unique_ptr<AudioFile>, std::string> create(const std::filesystem::path& file,
                                                                         AudioFormat format) override;
    /// Files of more than 64 MiB or ten minutes are refused.
    [[nodiscard]] Result<Sound, std::string> read(const std::filesystem::path& file) override;
};

}  // namespace tolvik
