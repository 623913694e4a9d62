#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace tolvik {

/// Turns interleaved sound of any rate into one channel at 16 kHz, piece by piece, without a seam.
class Resampler {
public:
    /// Rates from 4 to 400 kHz and 1 to 32 channels; others are taken as the nearest of these.
    Resampler(int sampleRate, int channels);

    /// What can be told after these samples; some milliseconds stay back for the next call.
    [[nodiscard]] std::vector<float> convert(std::span<const float> interleaved);
    /// What stayed back.
    [[nodiscard]] std::vector<float> flush();

private:
    [[nodiscard]] std::vector<float> drain();

    std::size_t channels_;
    double step_;            ///< input samples for each output sample
    std::size_t reach_ = 0;  ///< input samples on each side that bear on one output sample
    std::vector<std::vector<float>> phases_;
    std::vector<float> partialFrame_;
    std::vector<float> input_;
    double position_ = 0;  ///< of the next output sample in `input_`
};

}  // namespace tolvik
