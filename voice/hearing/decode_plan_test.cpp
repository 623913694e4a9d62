#include "voice/hearing/decode_plan.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

#include "voice/hearing/resampler.h"

namespace tolvik {
namespace {

constexpr std::size_t rate = DecodePlan::rate;

std::vector<float> silence(double seconds, float level = 0.0005F) {
    std::mt19937 chance(5);
    std::normal_distribution<float> noise(0, level);
    std::vector<float> out(static_cast<std::size_t>(seconds * rate));
    for (float& each : out) {
        each = noise(chance);
    }
    return out;
}

/// Something like speech: a buzz of changing pitch through a mouth that opens and closes four times a second.
std::vector<float> voice(double seconds) {
    std::vector<float> out = silence(seconds);
    double phase = 0;
    for (std::size_t at = 0; at < out.size(); ++at) {
        const double now = static_cast<double>(at) / rate;
        phase += (110 + 15 * std::sin(5 * now)) / rate;
        const double mouth = 0.5 + 0.5 * std::sin(2 * std::numbers::pi * 4 * now);
        double sum = 0;
        for (int harmonic = 1; harmonic <= 24; ++harmonic) {
            const double frequency = 110.0 * harmonic;
            const double first = 350 + 450 * mouth;
            const double second = 2200 - 1000 * mouth;
            const double gain = std::exp(-std::pow((frequency - first) / 180, 2)) +
                                0.5 * std::exp(-std::pow((frequency - second) / 250, 2)) + 0.02;
            sum += gain * std::sin(2 * std::numbers::pi * harmonic * phase);
        }
        out[at] += static_cast<float>(0.12 * sum);
    }
    return out;
}

std::vector<float> tone(double seconds, double frequency, bool square) {
    std::vector<float> out = silence(seconds);
    for (std::size_t at = 0; at < out.size(); ++at) {
        const double value = std::sin(2 * std::numbers::pi * frequency * static_cast<double>(at) / rate);
        out[at] += static_cast<float>(square ? (value > 0 ? 0.2 : -0.2) : 0.3 * value);
    }
    return out;
}

/// Feeds a plan as a microphone would and keeps what it wanted decoded. A job takes `decodeTime` of sound.
class Feed {
public:
    void sound(const std::vector<float>& samples) {
        constexpr std::size_t piece = 160;
        for (std::size_t at = 0; at < samples.size(); at += piece) {
            plan.append(std::span(samples).subspan(at, std::min(piece, samples.size() - at)));
            step();
        }
    }
    void finish() {
        plan.finish();
        step();
    }
    void step() {
        for (std::size_t at = 0; at < open.size();) {
            if (plan.samples().size() >= open[at].second + decodeTime) {
                plan.decoded(open[at].first, "w" + std::to_string(open[at].first.id));
                open.erase(open.begin() + static_cast<std::ptrdiff_t>(at));
            } else {
                ++at;
            }
        }
        while (const auto job = plan.next(open.size())) {
            jobs.push_back(*job);
            open.emplace_back(*job, plan.samples().size());
        }
    }
    void decodeAll() {
        while (!open.empty()) {
            plan.decoded(open.front().first, "w" + std::to_string(open.front().first.id));
            open.erase(open.begin());
            while (const auto job = plan.next(open.size())) {
                jobs.push_back(*job);
                open.emplace_back(*job, plan.samples().size());
            }
        }
    }

    DecodePlan plan;
    std::size_t decodeTime = rate * 4 / 10;
    std::vector<DecodePlan::Job> jobs;
    std::vector<std::pair<DecodePlan::Job, std::size_t>> open;
};

TEST(DecodePlan, SilenceNoiseAndTonesAreAnsweredAtOnceWithNothing) {
    for (const auto& sound : {silence(2), silence(2, 0.05F), tone(2, 440, false), tone(2, 220, true)}) {
        Feed feed;
        feed.sound(sound);
        feed.finish();
        EXPECT_TRUE(feed.jobs.empty());
        EXPECT_EQ(feed.plan.finalText(), "");
    }
    Feed nothing;
    nothing.finish();
    EXPECT_EQ(nothing.plan.finalText(), "");
}

TEST(DecodePlan, AfterAPauseTheAnswerIsThereWhenTheKeyIsReleased) {
    Feed feed;
    feed.sound(silence(0.3));
    feed.sound(voice(1.5));
    feed.sound(silence(0.7));
    const std::size_t before = feed.jobs.size();
    ASSERT_GE(before, 2U);
    feed.finish();
    EXPECT_EQ(feed.jobs.size(), before) << "nothing was left to decode";
    EXPECT_EQ(feed.plan.finalText(), "w" + std::to_string(feed.jobs.back().id));
    EXPECT_NEAR(static_cast<double>(feed.jobs.back().begin) / rate, 0.2, 0.15);
    EXPECT_NEAR(static_cast<double>(feed.jobs.back().end) / rate, 1.9, 0.15);
}

TEST(DecodePlan, ReleasedAtTheLastWordOneDecodeOfTheWholeIsLeft) {
    Feed feed;
    feed.sound(silence(0.2));
    feed.sound(voice(1.73));
    feed.finish();
    EXPECT_EQ(feed.plan.finalText(), std::nullopt);
    feed.decodeAll();
    EXPECT_TRUE(feed.plan.finalText().has_value());
    EXPECT_GE(feed.jobs.back().end, static_cast<std::size_t>(1.9 * rate));
}

TEST(DecodePlan, WhileSpeakingSomethingIsDecodedEveryHalfSecond) {
    Feed feed;
    feed.decodeTime = rate / 5;
    feed.sound(voice(4));
    ASSERT_GE(feed.jobs.size(), 6U);
    for (std::size_t at = 1; at < feed.jobs.size(); ++at) {
        EXPECT_LE(feed.jobs[at].heardTo - feed.jobs[at - 1].heardTo, rate * 6 / 10);
    }
    EXPECT_FALSE(feed.plan.textSoFar().empty());
}

TEST(DecodePlan, AnOlderJobThatEndsLateDoesNotReplaceANewerText) {
    DecodePlan plan;
    plan.append(voice(0.8));
    const auto first = plan.next(0);
    ASSERT_TRUE(first);
    plan.append(voice(0.6));
    plan.finish();
    const auto second = plan.next(1);
    ASSERT_TRUE(second);
    plan.decoded(*second, "switch to payroll");
    EXPECT_EQ(plan.finalText(), "switch to payroll");
    plan.decoded(*first, "switch");
    EXPECT_EQ(plan.finalText(), "switch to payroll");
    plan.decoded(*first, "twice");
    EXPECT_EQ(plan.finalText(), "switch to payroll");
}

TEST(DecodePlan, NeverMoreThanTwoAtOnce) {
    Feed feed;
    feed.decodeTime = rate * 100;
    feed.sound(voice(3));
    feed.sound(silence(0.5));
    feed.finish();
    EXPECT_LE(feed.open.size(), 2U);
    feed.decodeAll();
    EXPECT_TRUE(feed.plan.finalText().has_value());
}

TEST(DecodePlan, LongSpeechIsCutAtPausesAndCoveredWithoutHoles) {
    for (const bool pauses : {true, false}) {
        Feed feed;
        for (int sentence = 0; sentence < 4; ++sentence) {
            feed.sound(voice(6.5));
            if (pauses) {
                feed.sound(silence(0.4));
            }
        }
        feed.finish();
        feed.decodeAll();
        ASSERT_TRUE(feed.plan.finalText().has_value());
        EXPECT_TRUE(feed.plan.isLong());
        std::size_t covered = 0;
        for (const auto& job : feed.jobs) {
            EXPECT_LT(job.end - job.begin, rate * 10) << "longer than the engine can take";
            if (job.closesPart) {
                EXPECT_LE(job.begin, covered + (pauses ? rate * 6 / 10 : rate / 5));
                covered = job.end;
            }
        }
        EXPECT_GE(feed.jobs.back().end, static_cast<std::size_t>(25.5 * rate));
    }
}

TEST(DecodePlan, PartsAreJoinedAsOneSentence) {
    EXPECT_EQ(joinedParts({"Start the quarterly", "", "Report for Acme."}), "Start the quarterly report for Acme.");
    EXPECT_EQ(joinedParts({"I think.", "I know", "API, docs"}), "I think I know API, docs");
    EXPECT_EQ(joinedParts({"", " "}), "");
}

TEST(Resampler, KeepsSpeechFrequenciesAndDropsWhatWouldFoldOver) {
    const auto power = [](const std::vector<float>& samples) {
        double sum = 0;
        for (std::size_t at = samples.size() / 4; at < samples.size() * 3 / 4; ++at) {
            sum += static_cast<double>(samples[at]) * samples[at];
        }
        const std::size_t summed = samples.size() / 2;
        return sum / static_cast<double>(summed);
    };
    for (const int input : {8000, 16000, 44100, 48000, 96000}) {
        for (const double frequency : {1000.0, 11000.0}) {
            if (frequency * 2 >= input) {
                continue;
            }
            std::vector<float> stereo;
            for (int at = 0; at < input; ++at) {
                const auto value =
                    static_cast<float>(std::sin(2 * std::numbers::pi * frequency * at / static_cast<double>(input)));
                stereo.push_back(value);
                stereo.push_back(value);
            }
            Resampler resampler(input, 2);
            std::vector<float> out;
            for (std::size_t at = 0; at < stereo.size(); at += 777) {
                const auto some =
                    resampler.convert(std::span(stereo).subspan(at, std::min<std::size_t>(777, stereo.size() - at)));
                out.insert(out.end(), some.begin(), some.end());
            }
            const auto rest = resampler.flush();
            out.insert(out.end(), rest.begin(), rest.end());
            EXPECT_NEAR(static_cast<double>(out.size()), 16000.0, 40.0) << input;
            EXPECT_NEAR(power(out), frequency < 8000 ? 0.5 : 0.0, 0.02) << input << " " << frequency;
        }
    }
    Resampler odd(-3, 0);
    EXPECT_TRUE(odd.convert({}).empty());
}

}  // namespace
}  // namespace tolvik
