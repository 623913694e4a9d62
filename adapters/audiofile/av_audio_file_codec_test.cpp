#include "adapters/audiofile/av_audio_file_codec.h"

#include <cmath>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <numbers>
#include <unistd.h>

#include "adapters/audiofile/av_handles.h"
#include "adapters/audiofile/sound_decoder.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

class AvAudioFileCodecTest : public testing::Test {
protected:
    AvAudioFileCodecTest() {
        av_log_set_level(AV_LOG_QUIET);
        fs::create_directories(folder);
    }
    ~AvAudioFileCodecTest() override { fs::remove_all(folder); }

    /// Tones of 500 Hz and its multiples, one a channel.
    static std::vector<float> tones(AudioFormat format, double seconds) {
        std::vector<float> out;
        for (int i = 0; i < static_cast<int>(seconds * format.sampleRate); ++i) {
            for (int channel = 0; channel < format.channels; ++channel) {
                out.push_back(static_cast<float>(
                    0.5 * std::sin(2 * std::numbers::pi * 500 * (channel + 1) * i / format.sampleRate)));
            }
        }
        return out;
    }
    static int crossings(const std::vector<float>& sound, int channels, int channel) {
        int count = 0;
        for (auto i = static_cast<std::size_t>(channels) + static_cast<std::size_t>(channel); i < sound.size();
             i += static_cast<std::size_t>(channels)) {
            count += sound[i - static_cast<std::size_t>(channels)] < 0 && sound[i] >= 0 ? 1 : 0;
        }
        return count;
    }
    void write(const fs::path& file, AudioFormat format, const std::vector<float>& sound) {
        auto out = codec.create(file, format);
        ASSERT_TRUE(out) << out.error();
        // In lots that are no multiple of the encoder's frame.
        for (std::size_t i = 0; i < sound.size(); i += 999) {
            (*out)->append(std::span(sound).subspan(i, std::min<std::size_t>(999, sound.size() - i)));
        }
    }
    std::vector<std::uint8_t> bytesOf(const fs::path& file) {
        std::ifstream in(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }

    const fs::path folder = fs::temp_directory_path() / ("audio-file-test-" + std::to_string(::getpid()));
    AvAudioFileCodec codec;
};

TEST_F(AvAudioFileCodecTest, KeepsRateChannelsAndContent) {
    for (const AudioFormat format : {AudioFormat{48'000, 1}, AudioFormat{44'100, 2}, AudioFormat{16'000, 1}}) {
        const fs::path file = folder / "a: strange name.m4a";
        write(file, format, tones(format, 2));
        const auto sound = codec.read(file);
        ASSERT_TRUE(sound) << sound.error();
        EXPECT_EQ(sound->format, format);
        const auto frames = static_cast<double>(sound->interleaved.size()) / format.channels;
        EXPECT_NEAR(frames / format.sampleRate, 2.0, 0.15);
        for (int channel = 0; channel < format.channels; ++channel) {
            EXPECT_NEAR(crossings(sound->interleaved, format.channels, channel), 1000 * (channel + 1), 20)
                << format.sampleRate;
        }
        EXPECT_LT(fs::file_size(file), 30'000U) << "some 64 kbit a second";
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytesOf(file).data()) + 4, 7), "ftypM4A");
    }
}

TEST_F(AvAudioFileCodecTest, WritesAnEmptyAndADamagedRecordingWithoutHarm) {
    write(folder / "empty.m4a", {48'000, 1}, {});
    EXPECT_FALSE(codec.read(folder / "empty.m4a"));
    std::vector<float> wild(48'000, std::numeric_limits<float>::quiet_NaN());
    wild[10] = std::numeric_limits<float>::infinity();
    wild[20] = 1e30F;
    write(folder / "wild.m4a", {48'000, 1}, wild);
    const auto sound = codec.read(folder / "wild.m4a");
    ASSERT_TRUE(sound) << sound.error();
    EXPECT_GE(sound->interleaved.size(), 48'000U);
    EXPECT_FALSE(codec.create(folder / "none" / "x.m4a", {48'000, 1}));
    EXPECT_FALSE(codec.create(folder / "x.m4a", {123, 1}));
}

TEST_F(AvAudioFileCodecTest, ReadsWavExactly) {
    const std::vector<std::int16_t> samples{0, 16'384, -16'384, 32'767, -32'768, 1};
    std::string wav = "RIFF----WAVEfmt ";
    const auto put = [&wav](std::uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            wav += static_cast<char>(value >> (8 * i) & 0xFFU);
        }
    };
    put(16, 4), put(1, 2), put(2, 2), put(8'000, 4), put(32'000, 4), put(4, 2), put(16, 2);
    wav += "data";
    put(12, 4);
    for (const std::int16_t sample : samples) {
        put(static_cast<std::uint16_t>(sample), 2);
    }
    const auto size = static_cast<std::uint32_t>(wav.size() - 8);
    wav.replace(4, 4, {static_cast<char>(size), static_cast<char>(size >> 8U), 0, 0});
    std::ofstream(folder / "a.wav", std::ios::binary) << wav;
    const auto sound = codec.read(folder / "a.wav");
    ASSERT_TRUE(sound) << sound.error();
    EXPECT_EQ(sound->format, (AudioFormat{8'000, 2}));
    EXPECT_THAT(sound->interleaved, testing::ElementsAre(0, 0.5F, -0.5F, 32'767.0F / 32'768, -1, 1.0F / 32'768));
}

TEST_F(AvAudioFileCodecTest, RefusesWhatIsNoSoundFile) {
    EXPECT_FALSE(codec.read(folder / "missing.wav"));
    EXPECT_FALSE(codec.read(folder));
    std::ofstream(folder / "text.m4a") << "#EXTM3U\nfile:///etc/hostname\n";
    EXPECT_FALSE(codec.read(folder / "text.m4a"));
    std::ofstream(folder / "huge.wav") << "RIFF";
    fs::resize_file(folder / "huge.wav", std::uintmax_t{65} << 20U);
    EXPECT_EQ(codec.read(folder / "huge.wav").error(), "The file is larger than 64 MB.");
    EXPECT_FALSE(decodeSound({}));
}

TEST_F(AvAudioFileCodecTest, SurvivesFlippedAndMissingBytes) {
    write(folder / "good.m4a", {16'000, 1}, tones({16'000, 1}, 0.5));
    const auto good = bytesOf(folder / "good.m4a");
    std::uint32_t seed = 7;
    const auto next = [&seed] { return seed = seed * 1'664'525U + 1'013'904'223U; };
    int decoded = 0;
    for (int i = 0; i < 2000; ++i) {
        auto bytes = good;
        for (int k = 0; k < 1 + i % 8; ++k) {
            bytes[(next() >> 8U) % bytes.size()] = static_cast<std::uint8_t>(next() >> 24U);
        }
        if (i % 5 == 0) {
            bytes.resize((next() >> 8U) % bytes.size());
        }
        const auto sound = decodeSound(bytes);
        if (sound) {
            ++decoded;
            EXPECT_LE(sound->interleaved.size(), maxDecodedSamples);
        }
    }
    EXPECT_GT(decoded, 0);
    EXPECT_LT(decoded, 2000);
}

}  // namespace
}  // namespace tolvik
