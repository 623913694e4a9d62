#include "adapters/speech/recognize_samples.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

#include "adapters/speech/speech_child.h"
#include "adapters/speech/speech_protocol.h"

namespace tolvik {

Result<RecognizedSpeech, std::string> recognizeSamples(const SpeechPlaces& places, const SpeechVocabulary& vocabulary,
                                                       int sampleRate, int channels,
                                                       std::span<const float> interleaved) {
    if (std::string missing = missingSpeechParts(places); !missing.empty()) {
        return failure(std::move(missing));
    }
    using Time = std::chrono::steady_clock;
    std::mutex mutex;
    std::condition_variable changed;
    bool ready = false;
    bool alive = true;
    std::size_t signs = 0;
    std::optional<std::string> text;
    std::string problem;

    SpeechChild::Events events;
    events.onMessage = [&](SpeechMessage message) {
        const std::lock_guard lock(mutex);
        ++signs;
        if (message.kind == SpeechMessage::Kind::ready) {
            ready = true;
        } else if (message.kind == SpeechMessage::Kind::failed) {
            problem = message.text;
        } else if (message.kind == SpeechMessage::Kind::final) {
            text = std::move(message.text);
        }
        changed.notify_all();
    };
    events.onEnd = [&] {
        const std::lock_guard lock(mutex);
        alive = false;
        changed.notify_all();
    };
    auto child = SpeechChild::start(places, std::chrono::minutes(5), std::move(events));
    if (!child) {
        return failure(child.error());
    }
    SpeechMessage message;
    message.kind = SpeechMessage::Kind::prepare;
    (*child)->send(encoded(message));

    std::unique_lock lock(mutex);
    const auto settled = [&] { return !alive || !problem.empty(); };
    while (!ready && !settled()) {
        const std::size_t before = signs;
        if (!changed.wait_for(lock, std::chrono::seconds(30), [&] { return ready || settled() || signs != before; })) {
            break;
        }
    }
    if (!ready || settled()) {
        return failure(problem.empty() ? std::string("The speech engine did not start.") : problem);
    }
    lock.unlock();
    const auto begun = Time::now();
    message.kind = SpeechMessage::Kind::begin;
    message.utterance = 1;
    message.sampleRate = sampleRate;
    message.channels = channels;
    message.vocabulary = vocabulary;
    (*child)->send(encoded(message));
    // Tenths of a second, as a microphone would give them: the plan cuts long speech where it pauses.
    const std::size_t piece = std::max<std::size_t>(1, static_cast<std::size_t>(std::max(sampleRate, 10) / 10)) *
                              static_cast<std::size_t>(std::max(channels, 1));
    for (std::size_t at = 0; at < interleaved.size(); at += piece) {
        (*child)->send(encodedSamples(1, interleaved.subspan(at, std::min(piece, interleaved.size() - at))));
    }
    message.kind = SpeechMessage::Kind::finish;
    (*child)->send(encoded(message));

    lock.lock();
    while (!text && !settled()) {
        const std::size_t before = signs;
        if (!changed.wait_for(lock, std::chrono::seconds(20), [&] { return text || settled() || signs != before; })) {
            return failure(std::string("The speech engine does not answer."));
        }
    }
    if (!text) {
        return failure(problem.empty() ? std::string("The speech engine stopped.") : problem);
    }
    RecognizedSpeech speech;
    speech.text = std::move(*text);
    speech.transcribeMs = std::chrono::duration_cast<std::chrono::milliseconds>(Time::now() - begun).count();
    lock.unlock();
    return speech;
}

}  // namespace tolvik
