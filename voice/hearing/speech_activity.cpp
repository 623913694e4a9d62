#include "voice/hearing/speech_activity.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace tolvik {
namespace {

constexpr float quietest = -58;          ///< dB; below it nothing is speech
constexpr float aboveNoise = 9;          ///< dB over the noise floor
constexpr float belowPeak = 34;          ///< dB under the loudest frame that still belong to a word
constexpr std::size_t shortestLag = 40;  ///< 400 Hz
constexpr std::size_t longestLag = 228;  ///< 70 Hz
constexpr float steadyCorrelation = 0.55F;
constexpr float steadyLag = 0.12F;
constexpr float toneShare = 0.96F;
constexpr std::size_t steadyRun = 4;          ///< frames of one pitch that make a voice
constexpr std::size_t longestGap = 15;        ///< frames within a word, as before a "t"
constexpr std::size_t longestVoiceless = 30;  ///< frames without voice at a word's edge, as in "sixths"

float levelOf(std::span<const float> samples) {
    double mean = 0;
    for (const float each : samples) {
        mean += each;
    }
    mean /= static_cast<double>(samples.size());
    double sum = 0;
    for (const float each : samples) {
        sum += (each - mean) * (each - mean);
    }
    return static_cast<float>(10 * std::log10(sum / static_cast<double>(samples.size()) + 1e-10));
}

struct Pitch {
    float correlation = 0;
    float lag = 0;
};

/// The strongest period between 70 and 400 Hz; frequencies under the voice's first are taken out before.
Pitch pitchOf(std::span<const float> samples) {
    std::vector<float> flat(samples.size());
    float slow = samples.front();
    for (std::size_t at = 0; at < samples.size(); ++at) {
        slow += 0.02F * (samples[at] - slow);
        flat[at] = samples[at] - slow;
    }
    const std::size_t span = flat.size() - longestLag;
    const auto product = [&](std::size_t a, std::size_t b) {
        float sum = 0;
        for (std::size_t at = 0; at < span; ++at) {
            sum += flat[a + at] * flat[b + at];
        }
        return sum;
    };
    const float own = product(0, 0);
    float lagged = product(shortestLag - 1, shortestLag - 1);
    std::vector<float> values(longestLag + 1, 0.0F);
    for (std::size_t lag = shortestLag - 1; lag <= longestLag; ++lag) {
        values[lag] = product(0, lag) / std::sqrt(own * lagged + 1e-9F);
        if (lag < longestLag) {
            lagged += flat[lag + span] * flat[lag + span] - flat[lag] * flat[lag];
            lagged = std::max(lagged, 0.0F);
        }
    }
    Pitch best;
    for (std::size_t lag = shortestLag; lag < longestLag; ++lag) {
        // Twice the period is as periodic: a longer lag must be plainly better.
        if (values[lag] >= values[lag - 1] && values[lag] >= values[lag + 1] &&
            values[lag] > best.correlation + (best.correlation > 0 ? 0.08F : 0.0F)) {
            best = {values[lag], static_cast<float>(lag)};
        }
    }
    return best;
}

/// In place, for a power of two.
void transform(std::vector<std::complex<float>>& values) {
    const std::size_t size = values.size();
    for (std::size_t at = 1, mirrored = 0; at < size; ++at) {
        std::size_t bit = size >> 1;
        for (; (mirrored & bit) != 0; bit >>= 1) {
            mirrored ^= bit;
        }
        mirrored ^= bit;
        if (at < mirrored) {
            std::swap(values[at], values[mirrored]);
        }
    }
    for (std::size_t length = 2; length <= size; length *= 2) {
        const std::complex<float> step = std::polar(1.0F, -2 * std::numbers::pi_v<float> / static_cast<float>(length));
        for (std::size_t begin = 0; begin < size; begin += length) {
            std::complex<float> turn = 1;
            for (std::size_t at = begin; at < begin + length / 2; ++at) {
                const auto odd = values[at + length / 2] * turn;
                values[at + length / 2] = values[at] - odd;
                values[at] += odd;
                turn *= step;
            }
        }
    }
}

}  // namespace

SpeechActivity::Spectrum SpeechActivity::spectrumOf(std::span<const float> samples) {
    std::vector<std::complex<float>> values(samples.size());
    for (std::size_t at = 0; at < samples.size(); ++at) {
        const float edge = 0.5F - 0.5F * std::cos(2 * std::numbers::pi_v<float> * static_cast<float>(at) /
                                                  static_cast<float>(samples.size()));
        values[at] = samples[at] * edge;
    }
    transform(values);
    std::vector<float> power(samples.size() / 2);
    float sum = 1e-12F;
    for (std::size_t bin = 2; bin < power.size(); ++bin) {
        power[bin] = std::norm(values[bin]);
        sum += power[bin];
    }
    Spectrum spectrum;
    constexpr float leastShare = 1e-4F;  // what is 40 dB under the rest is not heard beside it
    float edge = 3;
    for (std::size_t band = 0; band < bands; ++band) {
        const float next = edge * 1.43F;
        float inBand = 0;
        for (auto bin = static_cast<std::size_t>(edge); bin < std::min(power.size(), static_cast<std::size_t>(next));
             ++bin) {
            inBand += power[bin];
        }
        spectrum.colour[band] = 10 * std::log10(std::max(inBand / sum, leastShare));
        edge = next;
    }
    float inTones = 0;
    for (int tone = 0; tone < 2; ++tone) {
        const auto top = static_cast<std::size_t>(std::max_element(power.begin(), power.end()) - power.begin());
        for (std::size_t bin = top < 2 ? 0 : top - 2; bin < std::min(power.size(), top + 3); ++bin) {
            inTones += power[bin];
            power[bin] = 0;
        }
    }
    spectrum.toneShare = inTones / sum;
    return spectrum;
}

void SpeechActivity::addColour(const Spectrum& spectrum) {
    ++coloured_;
    for (std::size_t band = 0; band < bands; ++band) {
        const float away = spectrum.colour[band] - colourMean_[band];
        colourMean_[band] += away / static_cast<float>(coloured_);
        colourSpread_[band] += away * (spectrum.colour[band] - colourMean_[band]);
    }
}

float SpeechActivity::variety() const {
    float sum = 0;
    for (const float spread : colourSpread_) {
        sum += std::sqrt(spread / static_cast<float>(std::max<std::size_t>(coloured_, 1)));
    }
    return sum / static_cast<float>(bands);
}

float SpeechActivity::threshold() const {
    // The tenth of the frames that is quietest shows the room, if there was a pause; a word's own level bounds it.
    std::size_t wanted = levels_.size() / 10 + 1;
    std::size_t bin = 0;
    while (bin + 1 < histogram_.size() && wanted > histogram_[bin]) {
        wanted -= histogram_[bin];
        ++bin;
    }
    const float floor = static_cast<float>(bin) - 100;
    return std::max({quietest, peak_ - belowPeak, std::min(floor + aboveNoise, peak_ - 15)});
}

void SpeechActivity::append(std::span<const float> samples) {
    tail_.insert(tail_.end(), samples.begin(), samples.end());
    kept_ += samples.size();
    while (kept_ >= frame) {
        kept_ -= frame;
        seen_ += frame;
        const std::size_t end = tail_.size() - kept_;
        std::vector<float> last(window, 0.0F);
        const std::size_t there = std::min(end, window);
        std::copy(tail_.begin() + static_cast<std::ptrdiff_t>(end - there),
                  tail_.begin() + static_cast<std::ptrdiff_t>(end), last.end() - static_cast<std::ptrdiff_t>(there));
        take(last);
    }
    if (tail_.size() > window + kept_) {
        tail_.erase(tail_.begin(), tail_.end() - static_cast<std::ptrdiff_t>(window + kept_));
    }
}

void SpeechActivity::take(std::span<const float> samples) {
    const std::size_t now = levels_.size();
    const float level = levelOf(samples.last(frame));
    levels_.push_back(level);
    speech_.push_back(false);
    ++histogram_[static_cast<std::size_t>(std::clamp(level + 100, 0.0F, 100.0F))];
    peak_ = std::max(peak_, level);
    if (level < threshold()) {
        run_ = 0;
        return;
    }
    const Pitch pitch = pitchOf(samples);
    const Spectrum spectrum = spectrumOf(samples);
    const bool steady = run_ == 0 || std::abs(pitch.lag - previousLag_) < steadyLag * previousLag_ + 1;
    const bool voiced = pitch.correlation > steadyCorrelation && spectrum.toneShare < toneShare;
    run_ = voiced ? (steady ? run_ + 1 : 1) : 0;
    previousLag_ = pitch.lag;
    if (run_ > 0) {
        addColour(spectrum);
    }
    if (run_ >= steadyRun) {
        voicedFrames_ += run_ == steadyRun ? steadyRun : 1;
        lastVoiced_ = now;
        if (!first_) {
            // The word began before its voice did: go back over what is close and loud enough.
            std::size_t begin = now;
            const std::size_t earliest = now < steadyRun + longestVoiceless ? 0 : now - steadyRun - longestVoiceless;
            for (std::size_t at = now; at > earliest;) {
                --at;
                if (begin - at > longestGap) {
                    break;
                }
                if (levels_[at] >= threshold()) {
                    begin = at;
                }
            }
            first_ = begin;
            for (std::size_t at = begin; at < now; ++at) {
                speech_[at] = true;
            }
        }
        for (std::size_t at = last_ ? std::max(*last_, now < steadyRun ? 0 : now - steadyRun) : now; at <= now; ++at) {
            speech_[at] = true;
        }
        last_ = now;
    } else if (last_ && now - *last_ <= longestGap && lastVoiced_ && now - *lastVoiced_ <= longestVoiceless) {
        speech_[now] = true;
        last_ = now;
    }
}

std::optional<std::size_t> SpeechActivity::speechBegin() const {
    return hasSpeech() && first_ ? std::optional(*first_ * frame) : std::nullopt;
}

std::optional<std::size_t> SpeechActivity::speechEnd() const {
    return hasSpeech() && last_ ? std::optional((*last_ + 1) * frame) : std::nullopt;
}

std::optional<std::size_t> SpeechActivity::speechAfter(std::size_t from) const {
    for (std::size_t at = from / frame; at < speech_.size(); ++at) {
        if (speech_[at]) {
            return at * frame;
        }
    }
    return std::nullopt;
}

std::size_t SpeechActivity::quietestPlace(std::size_t from, std::size_t to) const {
    const std::size_t begin = std::min(from / frame, levels_.size());
    const std::size_t end = std::min(to / frame, levels_.size());
    if (begin >= end) {
        return from;
    }
    std::size_t bestBegin = begin;
    std::size_t bestLength = 0;
    for (std::size_t at = begin; at < end;) {
        std::size_t stop = at;
        while (stop < end && !speech_[stop]) {
            ++stop;
        }
        if (stop - at > bestLength) {
            bestLength = stop - at;
            bestBegin = at;
        }
        at = stop + 1;
    }
    constexpr std::size_t pause = 5;
    if (bestLength >= pause) {
        return (bestBegin + bestLength / 2) * frame;
    }
    const auto quiet = std::min_element(levels_.begin() + static_cast<std::ptrdiff_t>(begin),
                                        levels_.begin() + static_cast<std::ptrdiff_t>(end));
    return static_cast<std::size_t>(quiet - levels_.begin()) * frame + frame / 2;
}

}  // namespace tolvik
