#include "adapters/speech/speech_protocol.h"

#include <gtest/gtest.h>
#include <random>

namespace tolvik {
namespace {

SpeechMessage beginMessage() {
    SpeechMessage message;
    message.kind = SpeechMessage::Kind::begin;
    message.utterance = 7;
    message.sampleRate = 44100;
    message.channels = 2;
    message.vocabulary = {{"Quarterly report", "Ünïcode ✓"}, {"Halden"}, {"Tamsin", ""}};
    return message;
}

TEST(SpeechProtocol, MessagesSurviveTheWireInPiecesOfAnySize) {
    SpeechMessage samples;
    samples.kind = SpeechMessage::Kind::samples;
    samples.utterance = 7;
    samples.samples = {0.5F, -1.0F, 0.25F};
    SpeechMessage text;
    text.kind = SpeechMessage::Kind::final;
    text.utterance = 9;
    text.text = "switch to the design review";
    const std::string wire = encoded(beginMessage()) + encoded(samples) + encoded(text);
    for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, std::size_t{17}, wire.size()}) {
        SpeechMessageReader reader;
        std::vector<SpeechMessage> got;
        for (std::size_t at = 0; at < wire.size(); at += piece) {
            reader.append(std::string_view(wire).substr(at, piece));
            while (true) {
                auto message = reader.next();
                ASSERT_TRUE(message.has_value());
                if (!*message) {
                    break;
                }
                got.push_back(std::move(**message));
            }
        }
        ASSERT_EQ(got.size(), 3U);
        EXPECT_EQ(got[0].sampleRate, 44100);
        EXPECT_EQ(got[0].channels, 2);
        EXPECT_EQ(got[0].vocabulary.taskTitles, beginMessage().vocabulary.taskTitles);
        EXPECT_EQ(got[0].vocabulary.terms, beginMessage().vocabulary.terms);
        EXPECT_EQ(got[1].samples, samples.samples);
        EXPECT_EQ(got[2].utterance, 9U);
        EXPECT_EQ(got[2].text, text.text);
    }
}

TEST(SpeechProtocol, RefusesLengthsThatLie) {
    const auto refuses = [](const std::string& bytes) {
        SpeechMessageReader reader;
        reader.append(bytes);
        return !reader.next().has_value();
    };
    using namespace std::string_literals;
    EXPECT_TRUE(refuses("\x00\x00\x00\x00"s)) << "shorter than its own header";
    EXPECT_TRUE(refuses("\xff\xff\xff\xff"s)) << "longer than any message";
    EXPECT_TRUE(refuses("\x05\x00\x00\x00\x63\x01\x00\x00\x00"s)) << "unknown kind";
    EXPECT_TRUE(refuses("\x06\x00\x00\x00\x04\x01\x00\x00\x00x"s)) << "bytes left over";
    EXPECT_TRUE(refuses("\x09\x00\x00\x00\x03\x01\x00\x00\x00\xff\xff\xff\x3f"s)) << "samples that are not there";
    EXPECT_TRUE(refuses("\x09\x00\x00\x00\x13\x01\x00\x00\x00\x10\x00\x00\x00"s)) << "text that is not there";
    std::string begun = encoded(beginMessage());
    begun[17] = '\x7f';  // the number of titles
    begun[18] = '\x7f';
    EXPECT_TRUE(refuses(begun));
}

TEST(SpeechProtocol, TooManyOrTooLongWordsAreCutAndNotRefused) {
    SpeechMessage message = beginMessage();
    message.vocabulary.taskTitles.assign(100000, "A title that somebody wrote");
    message.vocabulary.terms = {std::string(std::size_t{2} << 20, 'x')};
    SpeechMessageReader reader;
    reader.append(encoded(message));
    const auto got = reader.next();
    ASSERT_TRUE(got.has_value());
    ASSERT_TRUE(got->has_value());
    EXPECT_GT((*got)->vocabulary.taskTitles.size(), 1000U);
}

TEST(SpeechProtocol, DamagedStreamsNeverCrash) {
    std::mt19937 chance(11);
    const std::string good = encoded(beginMessage()) + encodedSamples(3, std::vector<float>(40, 0.1F));
    std::size_t refused = 0;
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = good;
        for (int change = 0; change < 3; ++change) {
            bytes[chance() % bytes.size()] = static_cast<char>(chance());
        }
        SpeechMessageReader reader;
        reader.append(bytes);
        while (true) {
            const auto message = reader.next();
            if (!message || !*message) {
                refused += message ? 0U : 1U;
                break;
            }
        }
    }
    EXPECT_GT(refused, 100U);
}

}  // namespace
}  // namespace tolvik
