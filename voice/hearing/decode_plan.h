#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "voice/hearing/speech_activity.h"

namespace tolvik {

/// Decides what of an utterance is decoded when, so that at its end little or nothing is left to decode, and makes one
/// text of the pieces. Long speech is cut at pauses into parts that the engine can take. Knows neither engine nor
/// threads. Positions are in 16 kHz samples. One thread at a time.
class DecodePlan {
public:
    static constexpr std::size_t rate = SpeechActivity::sampleRate;

    /// A stretch to decode. Its sound is `samples()` from `begin` to `end`.
    struct Job {
        std::uint32_t id = 0;
        std::size_t begin = 0;
        std::size_t end = 0;
        /// The last word that the stretch holds ends here.
        std::size_t heardTo = 0;
        /// The part is complete: no later job covers it.
        bool closesPart = false;
    };

    void append(std::span<const float> samples);
    /// No sound follows.
    void finish() { finished_ = true; }

    /// What should be decoded now; it counts as begun. `running` is the number of jobs that have begun and not ended:
    /// a mere preview waits until there is none.
    [[nodiscard]] std::optional<Job> next(std::size_t running);
    /// The text of a job; "" for none. Jobs may end in any order.
    void decoded(const Job& job, std::string text);

    /// The text so far, of all parts.
    [[nodiscard]] std::string textSoFar() const;
    /// The whole text, once `finish` was called and nothing that was said is left to decode; "" when nothing was said.
    [[nodiscard]] std::optional<std::string> finalText() const;
    /// More than one part was needed.
    [[nodiscard]] bool isLong() const { return partBegins_.size() > 1; }
    [[nodiscard]] const std::vector<float>& samples() const { return samples_; }
    [[nodiscard]] bool hasSpeech() const { return activity_.hasSpeech(); }

private:
    struct Decoded {
        std::size_t heardTo = 0;
        bool closed = false;
        std::string text;
    };
    [[nodiscard]] std::optional<Job> closingJob();
    [[nodiscard]] Job jobTo(std::size_t speechEnd, std::size_t end);

    SpeechActivity activity_;
    std::vector<float> samples_;
    bool finished_ = false;
    std::uint32_t lastId_ = 0;
    /// Where each part begins; the last is the one being spoken.
    std::vector<std::size_t> partBegins_ = {0};
    std::vector<Decoded> parts_ = {{}};
    std::vector<std::pair<std::uint32_t, std::size_t>> running_;  ///< job and its part
    std::size_t begunTo_ = 0;                                     ///< the furthest word that a begun job holds
    std::size_t begunAt_ = 0;                                     ///< how much sound there was when the last job began
};

/// The texts of parts as one: blank ones left out, what a cut made capital or ended with a stop put right.
[[nodiscard]] std::string joinedParts(const std::vector<std::string>& parts);

}  // namespace tolvik
