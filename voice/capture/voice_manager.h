#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/clock.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/value_store.h"
#include "voice/capture/audio_file_writer.h"
#include "voice/capture/chord_monitor.h"
#include "voice/capture/media_players.h"
#include "voice/capture/microphone.h"
#include "voice/capture/speech_recognizer.h"
#include "voice/parse/command.h"

namespace tolvik {

enum class VoicePhase : std::uint8_t { idle, listening, transcribing, done };

/// Turns a finished recording into text somewhere else, while this device does the same.
class TranscriptionClient {
public:
    TranscriptionClient() = default;
    TranscriptionClient(const TranscriptionClient&) = delete;
    TranscriptionClient& operator=(const TranscriptionClient&) = delete;
    virtual ~TranscriptionClient() = default;

    struct Failure {
        /// For the user.
        std::string text;
        /// What this device heard is used in its place; else the text is shown and nothing is done.
        bool deviceTextServes = false;
    };
    using Request = std::shared_ptr<void>;
    /// True while recordings are to be sent: somebody is signed in.
    [[nodiscard]] virtual bool isWanted() = 0;
    /// Calls back once on the main loop with the transcript or why there is none; dropping the request cancels.
    [[nodiscard]] virtual Request transcribe(const std::filesystem::path& file, const std::string& prompt,
                                             std::function<void(Result<std::string, Failure>)> done) = 0;
};

/// The controller of a push-to-talk session. Main loop only.
class VoiceManager {
public:
    struct Ports {
        MainLoop& loop;
        Workers& workers;
        const Clock& clock;
        Random& random;
        ValueStore& values;
        ChordMonitor& chord;
        Microphone& microphone;
        SpeechRecognizer& recognizer;
        MediaPlayers& media;
        AudioFileCodec& codec;
        /// Null where there is no server.
        TranscriptionClient* transcription = nullptr;
        /// Where recordings lie while they are needed.
        std::filesystem::path temporaryFolder;
        std::function<SpeechVocabulary()> vocabulary;
        /// Carries the transcript out and answers once, perhaps later.
        std::function<void(const std::string& transcript, std::function<void(const CommandOutcome&)>)> execute;
        /// What the words so far would do.
        std::function<CommandOutcome(const std::string& transcript)> preview;
        /// Takes the last change back; the words for the pill, none when there is nothing to take back.
        std::function<std::optional<std::string>()> undo;
        /// What the uploaded recording is recognised with; empty when absent. Used with `transcription` only.
        std::function<std::string()> prompt = {};
    };

    /// Listening ends by itself after this time and what was said is processed.
    static constexpr Millis listeningCap{60'000};
    /// A shorter press of the chord is no press.
    static constexpr Millis minimumPress{200};
    /// How long an outcome is shown.
    static constexpr Millis doneTime{2'000};
    /// How long the offer to undo stays once the pointer rested on it.
    static constexpr Millis keptOfferTime{4'000};
    /// How long an error is shown.
    static constexpr Millis errorTime{5'000};
    /// How often the display is asked whether the chord is still down, in case its release was missed.
    static constexpr Millis releaseCheckInterval{250};
    /// A recognition that takes longer than this is given up.
    static constexpr Millis transcribingLimit{30'000};
    /// How long the text of this device waits for the server's.
    static constexpr Millis serverPatience{2'000};
    static constexpr Millis levelInterval{50};
    static constexpr std::size_t levelCount = 10;
    static constexpr Millis previewInterval{100};

    /// All ports outlive the manager; workers, codec and clock outlive the workers' last job as well.
    explicit VoiceManager(Ports ports);
    VoiceManager(const VoiceManager&) = delete;
    VoiceManager& operator=(const VoiceManager&) = delete;
    ~VoiceManager();

    // --- published state; `onChanged` follows every change -----------------------------------------------------------
    [[nodiscard]] VoicePhase phase() const;
    /// Live preview while listening, then the final transcript.
    [[nodiscard]] const std::string& transcript() const;
    /// The outcome line of the done phase.
    [[nodiscard]] const std::string& doneText() const;
    /// The outcome behind `doneText`, for the pill's icon and colour.
    [[nodiscard]] const std::optional<CommandOutcome>& doneOutcome() const;
    /// A few words on how the outcome came about, empty when there is nothing to say; of the done phase.
    [[nodiscard]] const std::string& doneNote() const;
    [[nodiscard]] const std::optional<std::string>& error() const;
    /// What the words so far would do, while listening or transcribing; none while nothing was understood.
    [[nodiscard]] const std::optional<CommandOutcome>& pending() const;
    /// Whether the pill offers to take the last change back.
    [[nodiscard]] bool offersUndo() const;
    /// The last input levels, oldest first, each from 0 to 1, at 20 a second while listening.
    [[nodiscard]] const std::vector<float>& levels() const;
    /// Seconds until listening ends by itself, while fewer than ten remain.
    [[nodiscard]] std::optional<int> secondsLeft() const;
    [[nodiscard]] bool enabled() const;
    [[nodiscard]] bool hotkeySuspended() const;
    /// Why the chord cannot be seen in this session; empty when it can.
    [[nodiscard]] std::string chordProblem() const;
    Subscription onChanged(std::function<void()> callback);
    /// Time from the release of the chord to the executed command of the last session, and to first samples.
    struct Timings {
        std::optional<Millis> releaseToDone;
        std::optional<Millis> chordToFirstSamples;
    };
    [[nodiscard]] const Timings& lastTimings() const;

    // --- operations --------------------------------------------------------------------------------------------------
    /// On: watches the chord and sweeps stale recordings. Off: ends a session without a trace.
    void setEnabled(bool enabled);
    /// While suspended the chord does nothing; a session that it started ends without a trace.
    void setHotkeySuspended(bool suspended);
    /// The pill's microphone button: starts listening, or stops and processes.
    void toggle();
    /// The pill's Undo: within the offer's time.
    void undo();
    /// The pointer rests on the pill: the offer stays a while longer.
    void keepUndoOffer();
    /// While a new chord is recorded, sees the modifiers instead of the controller; empty to end.
    void watchModifiers(std::function<void(std::uint32_t held)> watcher);
    /// Hears of the modifiers that are down beside the controller, at each change, while the chord is watched.
    Subscription onModifiers(std::function<void(std::uint32_t held)> callback);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
