#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tolvik {

/// The user's own words, which bias what is heard. All UTF-8, as the user wrote them.
struct SpeechVocabulary {
    /// Open tasks in candidate order: the running one first, then by latest change.
    std::vector<std::string> taskTitles;
    std::vector<std::string> projectNames;
    /// Personal terms and those of the active project.
    std::vector<std::string> terms;

    bool operator==(const SpeechVocabulary&) const = default;
};

/// Why a recognition ended without text.
enum class SpeechError : std::uint8_t {
    unavailable,    ///< no engine or no model; nothing will be recognised until that changes
    engineStopped,  ///< the engine died or hung during this utterance; the next one may work
    cancelled,      ///< the session was destroyed or superseded; never shown
};

/// Receives the results of one session. Every call comes on the main loop.
struct SpeechCallbacks {
    /// The text heard so far, replacing the previous one; may be empty.
    std::function<void(std::string text)> onPartial;
    /// Called exactly once after `finish()`, unless `onError` was. An empty text means that nothing
    /// was said: silence, noise, breath. Trailing punctuation is already cut.
    std::function<void(std::string text)> onFinal;
    /// The session is over; no further call follows.
    std::function<void(SpeechError)> onError;
};

/// One utterance. Destroying it abandons the utterance; no callback follows.
class SpeechSession {
public:
    SpeechSession() = default;
    SpeechSession(const SpeechSession&) = delete;
    SpeechSession& operator=(const SpeechSession&) = delete;
    virtual ~SpeechSession() = default;

    /// Adds sound. Callable from one foreign thread (the audio thread) as well as from the main
    /// loop; never blocks on the engine: what arrives before the engine is ready is kept.
    /// `interleaved` holds frames x channels samples in [-1, 1] at the session's rate.
    virtual void append(std::span<const float> interleaved) = 0;

    /// No sound follows. `onFinal` or `onError` is called on the main loop. Main loop only.
    virtual void finish() = 0;
};

/// Turns speech into text on this machine.
class SpeechRecognizer {
public:
    SpeechRecognizer() = default;
    SpeechRecognizer(const SpeechRecognizer&) = delete;
    SpeechRecognizer& operator=(const SpeechRecognizer&) = delete;
    virtual ~SpeechRecognizer() = default;

    /// False when there is no engine or model, with the reason in `unavailableReason()`.
    [[nodiscard]] virtual bool isAvailable() const = 0;
    /// What is missing and how to get it, for settings and `doctor`; empty when available.
    [[nodiscard]] virtual std::string unavailableReason() const = 0;

    /// Starts loading the engine so that it is warm soon; returns at once. Main loop only.
    virtual void prepare() = 0;

    /// Starts an utterance of `sampleRate` Hz and `channels` channels. At most one is alive at a
    /// time; a new one abandons the old one. Main loop only.
    [[nodiscard]] virtual std::unique_ptr<SpeechSession> begin(int sampleRate, int channels,
                                                               SpeechVocabulary vocabulary,
                                                               SpeechCallbacks callbacks) = 0;
};

}  // namespace tolvik
