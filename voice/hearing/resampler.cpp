#include "voice/hearing/resampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tolvik {
namespace {

constexpr double targetRate = 16000;
constexpr std::size_t phaseCount = 128;
constexpr double lobes = 12;

double sinc(double at) {
    const double angle = std::numbers::pi * at;
    return std::abs(angle) < 1e-9 ? 1.0 : std::sin(angle) / angle;
}

}  // namespace

Resampler::Resampler(int sampleRate, int channels)
    : channels_(static_cast<std::size_t>(std::clamp(channels, 1, 32))),
      step_(std::clamp(sampleRate, 4000, 400000) / targetRate) {
    if (step_ == 1.0) {
        return;
    }
    // Everything above the lower of the two half rates is taken out, or it would come back as another tone.
    const double cutoff = std::min(1.0, 1.0 / step_) * 0.95;
    reach_ = static_cast<std::size_t>(std::ceil(lobes / cutoff));
    for (std::size_t phase = 0; phase < phaseCount; ++phase) {
        std::vector<float> weights(2 * reach_);
        double sum = 0;
        for (std::size_t at = 0; at < weights.size(); ++at) {
            const double away = static_cast<double>(at) - static_cast<double>(reach_) + 1 -
                                static_cast<double>(phase) / static_cast<double>(phaseCount);
            const double edge =
                0.5 + 0.5 * std::cos(std::numbers::pi * std::clamp(away / static_cast<double>(reach_), -1.0, 1.0));
            const double weight = cutoff * sinc(cutoff * away) * edge;
            weights[at] = static_cast<float>(weight);
            sum += weight;
        }
        for (float& weight : weights) {
            weight = static_cast<float>(weight / sum);
        }
        phases_.push_back(std::move(weights));
    }
    input_.assign(reach_, 0.0F);
    position_ = static_cast<double>(reach_);
}

std::vector<float> Resampler::convert(std::span<const float> interleaved) {
    for (const float sample : interleaved) {
        partialFrame_.push_back(std::isfinite(sample) ? sample : 0.0F);
        if (partialFrame_.size() == channels_) {
            float sum = 0;
            for (const float each : partialFrame_) {
                sum += each;
            }
            input_.push_back(sum / static_cast<float>(channels_));
            partialFrame_.clear();
        }
    }
    return drain();
}

std::vector<float> Resampler::flush() {
    input_.insert(input_.end(), reach_, 0.0F);
    return drain();
}

std::vector<float> Resampler::drain() {
    std::vector<float> out;
    if (phases_.empty()) {
        out.swap(input_);
        return out;
    }
    while (position_ + static_cast<double>(reach_) < static_cast<double>(input_.size())) {
        const auto whole = static_cast<std::size_t>(position_);
        const auto phase =
            std::min(phaseCount - 1, static_cast<std::size_t>((position_ - static_cast<double>(whole)) * phaseCount));
        const float* first = input_.data() + (whole + 1 - reach_);
        float sum = 0;
        for (std::size_t at = 0; at < 2 * reach_; ++at) {
            sum += first[at] * phases_[phase][at];
        }
        out.push_back(sum);
        position_ += step_;
    }
    const auto done = static_cast<std::size_t>(position_);
    if (done > reach_ + 4096) {
        const std::size_t cut = done - reach_;
        input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(cut));
        position_ -= static_cast<double>(cut);
    }
    return out;
}

}  // namespace tolvik
