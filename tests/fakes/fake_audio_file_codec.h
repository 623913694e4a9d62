#pragma once

#include <fstream>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "voice/capture/audio_file_writer.h"

namespace tolvik {

/// Files that hold nothing, with their sound kept in memory: a test sees them come and go and what was written.
class FakeAudioFileCodec final : public AudioFileCodec {
public:
    [[nodiscard]] Result<std::unique_ptr<AudioFile>, std::string> create(const std::filesystem::path& file,
                                                                         AudioFormat format) override {
        if (createFailure) {
            return std::unexpected(*createFailure);
        }
        std::ofstream(file) << "sound";
        sounds[file] = {format, {}};
        created.push_back(file);
        return std::make_unique<FakeFile>(sounds[file]);
    }
    [[nodiscard]] Result<Sound, std::string> read(const std::filesystem::path& file) override {
        const auto found = sounds.find(file);
        if (found == sounds.end()) {
            return failure(std::string("no such sound"));
        }
        return found->second;
    }

    std::optional<std::string> createFailure;
    std::vector<std::filesystem::path> created;
    /// What was ever written, also of files that are deleted.
    std::map<std::filesystem::path, Sound> sounds;

private:
    class FakeFile final : public AudioFile {
    public:
        explicit FakeFile(Sound& sound) : sound_(sound) {}
        void append(std::span<const float> interleaved) override {
            sound_.interleaved.insert(sound_.interleaved.end(), interleaved.begin(), interleaved.end());
        }

    private:
        Sound& sound_;
    };
};

}  // namespace tolvik
