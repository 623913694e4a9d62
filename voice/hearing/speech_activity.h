#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace tolvik {

/// Tells speech from silence, noise, tones, clicks and breath, while the sound arrives. Speech is what has a steady
/// pitch for some time with more than one or two tones in it and a changing colour, and what is close around that.
/// Positions are counted in samples from the start. One thread.
class SpeechActivity {
public:
    static constexpr std::size_t sampleRate = 16000;
    static constexpr std::size_t frame = sampleRate / 100;

    void append(std::span<const float> samples);

    /// Samples seen.
    [[nodiscard]] std::size_t size() const { return kept_ + seen_; }
    /// True once enough was spoken to count as speech.
    [[nodiscard]] bool hasSpeech() const { return voicedFrames_ >= fewestVoiced && variety() >= leastVariety; }
    /// How much the colour of the sound changes, in dB: a buzz or a chord keeps it, a word does not.
    [[nodiscard]] float variety() const;
    /// Where the first word begins and the last one ends so far; none before there was speech.
    [[nodiscard]] std::optional<std::size_t> speechBegin() const;
    [[nodiscard]] std::optional<std::size_t> speechEnd() const;
    /// Where the first word at or after `from` begins; none while nothing was said there.
    [[nodiscard]] std::optional<std::size_t> speechAfter(std::size_t from) const;
    /// The quietest place of a range, for cutting: the middle of its longest pause, else its quietest frame.
    [[nodiscard]] std::size_t quietestPlace(std::size_t from, std::size_t to) const;

private:
    static constexpr std::size_t fewestVoiced = 6;
    static constexpr float leastVariety = 1.8F;
    static constexpr std::size_t window = 512;
    static constexpr std::size_t bands = 12;

    struct Spectrum {
        float toneShare = 0;                   ///< of the power, in the two strongest tones
        std::array<float, bands> colour = {};  ///< each band's level against the whole, in dB
    };
    [[nodiscard]] static Spectrum spectrumOf(std::span<const float> samples);
    void take(std::span<const float> windowSamples);
    void addColour(const Spectrum& spectrum);
    [[nodiscard]] float threshold() const;

    std::vector<float> tail_;  ///< the last window of sound and what is not yet a whole frame
    std::size_t seen_ = 0;     ///< samples in whole frames
    std::size_t kept_ = 0;     ///< samples waiting for their frame

    std::vector<float> levels_;  ///< of each frame, in dB of full scale
    std::vector<bool> speech_;   ///< of each frame
    std::array<std::size_t, 101> histogram_ = {};
    float peak_ = -100;
    float previousLag_ = 0;
    std::size_t run_ = 0;  ///< voiced frames without a break, up to now
    std::size_t voicedFrames_ = 0;
    std::size_t coloured_ = 0;  ///< frames in the two sums, by Welford's method
    std::array<float, bands> colourMean_ = {};
    std::array<float, bands> colourSpread_ = {};
    std::optional<std::size_t> lastVoiced_;
    std::optional<std::size_t> first_;
    std::optional<std::size_t> last_;
};

}  // namespace tolvik
