#include "adapters/speech/speech_models.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <unistd.h>

#include "adapters/speech/recognize_samples.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

class SpeechModels : public testing::Test {
protected:
    SpeechModels() : folder_(fs::temp_directory_path() / ("speech-models-" + std::to_string(getpid()))) {
        fs::create_directories(folder_);
    }
    ~SpeechModels() override { fs::remove_all(folder_); }

    fs::path with(const std::string& name, const std::vector<std::string>& files) {
        fs::create_directories(folder_ / name);
        for (const std::string& file : files) {
            std::ofstream(folder_ / name / file) << "x";
        }
        return folder_ / name;
    }

    fs::path folder_;
};

TEST_F(SpeechModels, AreToldApartByTheirFiles) {
    using Kind = SpeechModel::Kind;
    struct Case {
        const char* name;
        std::vector<std::string> files;
        Kind kind;
        const char* encoder;
        const char* decoder;
    };
    const std::vector<Case> cases = {
        {"base-en",
         {"tokens.txt", "encoder_model.ort", "decoder_model_merged.ort"},
         Kind::moonshine,
         "encoder_model.ort",
         "decoder_model_merged.ort"},
        {"moonshine-tiny",
         {"tokens.txt", "preprocess.onnx", "encode.int8.onnx", "uncached_decode.int8.onnx", "cached_decode.int8.onnx"},
         Kind::moonshineSplit,
         "encode.int8.onnx",
         "cached_decode.int8.onnx"},
        {"whisper-tiny",
         {"tiny.en-tokens.txt", "tiny.en-encoder.onnx", "tiny.en-encoder.int8.onnx", "tiny.en-decoder.int8.onnx"},
         Kind::whisper,
         "tiny.en-encoder.int8.onnx",
         "tiny.en-decoder.int8.onnx"},
        {"zipformer",
         {"tokens.txt", "encoder-epoch-99.onnx", "decoder-epoch-99.onnx", "joiner-epoch-99.onnx"},
         Kind::transducer,
         "encoder-epoch-99.onnx",
         "decoder-epoch-99.onnx"},
        {"NeMo-parakeet",
         {"tokens.txt", "encoder.int8.onnx", "decoder.int8.onnx", "joiner.int8.onnx"},
         Kind::nemoTransducer,
         "encoder.int8.onnx",
         "decoder.int8.onnx"},
        {"conformer-ctc", {"tokens.txt", "model.int8.onnx", "model.onnx"}, Kind::nemoCtc, "model.int8.onnx", ""},
    };
    for (const Case& each : cases) {
        const auto model = inspectSpeechModel(with(each.name, each.files));
        ASSERT_TRUE(model.has_value()) << each.name << ": " << model.error();
        EXPECT_EQ(model->kind, each.kind) << each.name;
        EXPECT_EQ(model->encoder.filename(), each.encoder) << each.name;
        EXPECT_EQ(model->decoder.filename(), each.decoder) << each.name;
        EXPECT_NE(model->name.find(each.name), std::string::npos);
    }
}

TEST_F(SpeechModels, WhatIsNoModelSaysWhatIsMissing) {
    EXPECT_FALSE(inspectSpeechModel(folder_ / "nowhere"));
    EXPECT_NE(inspectSpeechModel(with("empty", {})).error().find("tokens.txt"), std::string::npos);
    EXPECT_NE(inspectSpeechModel(with("half", {"tokens.txt", "encoder.onnx"})).error().find("Whisper"),
              std::string::npos);
    SpeechPlaces places;
    places.program = "/nowhere/tolvik-speech";
    EXPECT_NE(missingSpeechParts(places).find("tolvik-speech"), std::string::npos);
    EXPECT_FALSE(recognizeSamples(places, {}, 16000, 1, {}).has_value());
}

/// The real engine and model, when the set-up has put them there.
class RealSpeech : public SpeechModels {
protected:
    void SetUp() override {
#ifdef __SANITIZE_THREAD__
        GTEST_SKIP() << "The engine's own threads are not built for the thread sanitizer.";
#endif
        setenv("TOLVIK_MODELS", TOLVIK_MODELS_DIR, 0);
        places_ = findSpeechPlaces();
        places_.program = TOLVIK_SPEECH_PROGRAM;
        if (const std::string missing = missingSpeechParts(places_); !missing.empty()) {
            GTEST_SKIP() << "NOT TESTED WITH THE REAL ENGINE: " << missing;
        }
    }

    /// A sentence in a synthetic voice at 16 kHz; skips the test where there is none.
    std::vector<float> spoken(const std::string& sentence) {
        const fs::path file = folder_ / "spoken.wav";
        const std::string command = "flite -voice rms -t '" + sentence + "' -o '" + file.string() + "' 2>/dev/null";
        std::vector<float> samples;
        if (std::system(command.c_str()) != 0) {
            return samples;
        }
        std::ifstream in(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
        for (std::size_t at = 44; at + 1 < bytes.size(); at += 2) {
            std::int16_t sample = 0;
            std::memcpy(&sample, bytes.data() + at, sizeof sample);
            samples.push_back(static_cast<float>(sample) / 32768.0F);
        }
        return samples;
    }

    SpeechPlaces places_;
    const SpeechVocabulary vocabulary_{{"Backup server", "Grant application", "Design review"}, {"Brivio"}, {}};
};

TEST_F(RealSpeech, HearsACommandAboutTheUsersTaskAndNothingInSilence) {
    const auto samples = spoken("complete the grant application");
    if (samples.empty()) {
        GTEST_SKIP() << "NOT TESTED WITH A VOICE: flite is not installed.";
    }
    const auto heard = recognizeSamples(places_, vocabulary_, 16000, 1, samples);
    ASSERT_TRUE(heard.has_value()) << heard.error();
    EXPECT_EQ(heard->text, "complete the Grant application");
    EXPECT_GT(heard->transcribeMs, 0);

    const auto silence = recognizeSamples(places_, vocabulary_, 16000, 1, std::vector<float>(32000, 0.0F));
    ASSERT_TRUE(silence.has_value()) << silence.error();
    EXPECT_EQ(silence->text, "");
}

TEST_F(RealSpeech, LongSpeechIsHeardWhole) {
    std::vector<float> samples;
    for (const char* sentence : {"this morning we looked at the new plans for the summer in the mountains",
                                 "after lunch the whole team went through the numbers of the last quarter",
                                 "and in the evening somebody wrote a long letter about the weather"}) {
        const auto some = spoken(sentence);
        if (some.empty()) {
            GTEST_SKIP() << "NOT TESTED WITH A VOICE: flite is not installed.";
        }
        samples.insert(samples.end(), some.begin(), some.end());
    }
    const auto heard = recognizeSamples(places_, vocabulary_, 16000, 1, samples);
    ASSERT_TRUE(heard.has_value()) << heard.error();
    for (const char* word : {"morning", "mountains", "lunch", "quarter", "evening", "weather"}) {
        EXPECT_NE(heard->text.find(word), std::string::npos) << word << " in: " << heard->text;
    }
}

}  // namespace
}  // namespace tolvik
