#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// A recogniser that hears what the test makes it hear, and records what it was given.
class FakeSpeechRecognizer final : public SpeechRecognizer {
public:
    [[nodiscard]] bool isAvailable() const override { return missing.empty(); }
    [[nodiscard]] std::string unavailableReason() const override { return missing; }
    void prepare() override { ++prepares; }
    [[nodiscard]] std::unique_ptr<SpeechSession> begin(int sampleRate, int channels, SpeechVocabulary vocabulary,
                                                       SpeechCallbacks callbacks) override {
        auto utterance = std::make_shared<Utterance>();
        utterance->sampleRate = sampleRate;
        utterance->channels = channels;
        utterance->vocabulary = std::move(vocabulary);
        utterance->callbacks = std::move(callbacks);
        utterances.push_back(utterance);
        return std::make_unique<FakeSession>(std::move(utterance));
    }

    struct Utterance {
        int sampleRate = 0;
        int channels = 0;
        SpeechVocabulary vocabulary;
        SpeechCallbacks callbacks;
        std::vector<float> sound;
        bool finished = false;
        bool abandoned = false;
    };
    [[nodiscard]] Utterance& last() { return *utterances.back(); }

    // Results of the latest utterance. They are delivered even when it was abandoned: whoever began it must cope.
    void hearSoFar(const std::string& text) { partial(last(), text); }
    void hearAll(const std::string& text) { final(last(), text); }
    void fail(SpeechError error) { fail(last(), error); }
    static void partial(const Utterance& utterance, const std::string& text) {
        const auto call = utterance.callbacks.onPartial;
        call(text);
    }
    static void final(const Utterance& utterance, const std::string& text) {
        const auto call = utterance.callbacks.onFinal;
        call(text);
    }
    static void fail(const Utterance& utterance, SpeechError error) {
        const auto call = utterance.callbacks.onError;
        call(error);
    }

    /// Why there is no engine; empty while there is one.
    std::string missing;
    int prepares = 0;
    std::vector<std::shared_ptr<Utterance>> utterances;

private:
    class FakeSession final : public SpeechSession {
    public:
        explicit FakeSession(std::shared_ptr<Utterance> utterance) : utterance_(std::move(utterance)) {}
        ~FakeSession() override { utterance_->abandoned = true; }
        void append(std::span<const float> interleaved) override {
            utterance_->sound.insert(utterance_->sound.end(), interleaved.begin(), interleaved.end());
        }
        void finish() override { utterance_->finished = true; }

    private:
        std::shared_ptr<Utterance> utterance_;
    };
};

}  // namespace tolvik
