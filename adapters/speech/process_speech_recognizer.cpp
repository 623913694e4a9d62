#include "adapters/speech/process_speech_recognizer.h"

#include <algorithm>
#include <utility>

#include "adapters/speech/speech_child.h"
#include "adapters/speech/speech_protocol.h"

namespace tolvik {
namespace {

/// An utterance as both its session and the recogniser see it. Main loop only, but for `child` and `number`, which do
/// not change.
struct Utterance {
    std::uint32_t number = 0;
    std::shared_ptr<SpeechChild> child;
    SpeechCallbacks callbacks;
    bool over = false;
    bool finished = false;
};

SpeechMessage message(SpeechMessage::Kind kind, std::uint32_t utterance) {
    SpeechMessage made;
    made.kind = kind;
    made.utterance = utterance;
    return made;
}

}  // namespace

/// The recogniser's state. What the talking thread posts holds it weakly, so that nothing comes after its end.
struct ProcessSpeechRecognizer::Core : std::enable_shared_from_this<Core> {
    Core(MainLoop& loop_, Options options_) : loop(loop_), options(std::move(options_)) {}

    MainLoop& loop;
    Options options;
    std::shared_ptr<SpeechChild> child;
    std::uint64_t childNumber = 0;
    std::uint32_t lastUtterance = 0;
    State state = State::off;
    std::string modelName;
    std::string loadFailure;
    std::weak_ptr<Utterance> current;
    Timer loadWatch;
    Timer answerWatch;
    Timer idleWatch;
    Timer forgiveness;

    /// Starts the process unless it runs; false when it cannot be started.
    bool ensureChild() {
        touch();
        if (child) {
            return true;
        }
        loadFailure.clear();
        const std::uint64_t number = ++childNumber;
        // The talking thread may outlive this object by a moment, the loop not.
        const auto forLoop = [target = &loop, weak = weak_from_this(), number](auto call) {
            target->post([weak, number, call = std::move(call)] {
                const auto core = weak.lock();
                if (core && core->childNumber == number) {
                    call(*core);
                }
            });
        };
        SpeechChild::Events events;
        events.onMessage = [forLoop](SpeechMessage got) {
            forLoop([got = std::move(got)](Core& core) { core.handle(got); });
        };
        events.onEnd = [forLoop] { forLoop([](Core& core) { core.childEnded(); }); };
        // The process's own limit only matters when this one hangs; the timer here ends it without a race.
        const auto limit = std::chrono::duration_cast<std::chrono::seconds>(options.idle) + std::chrono::seconds(60);
        auto started = SpeechChild::start(options.places, limit, std::move(events));
        if (!started) {
            loadFailure = started.error();
            return false;
        }
        child = std::move(*started);
        child->send(encoded(message(SpeechMessage::Kind::prepare, 0)));
        state = State::loading;
        watchLoading();
        return true;
    }

    /// Any use puts the end of the idle time off.
    void touch() {
        idleWatch = loop.after(Millis(options.idle.count()), [this] {
            if (current.expired()) {
                dropChild();
            } else {
                touch();
            }
        });
    }

    void dropChild() {
        ++childNumber;
        loadWatch.cancel();
        answerWatch.cancel();
        state = State::off;
        modelName.clear();
        if (child) {
            child->stop();
            child.reset();
        }
    }

    /// The process died, hangs or speaks nonsense: the utterance is lost, the next one starts a new process.
    void childEnded() {
        const auto utterance = current.lock();
        if (utterance) {
            utterance->child.reset();
        }
        dropChild();
        fail(loadFailure.empty() ? SpeechError::engineStopped : SpeechError::unavailable);
    }

    void fail(SpeechError error) {
        const auto utterance = current.lock();
        current.reset();
        answerWatch.cancel();
        if (utterance && !utterance->over) {
            utterance->over = true;
            if (utterance->callbacks.onError) {
                utterance->callbacks.onError(error);
            }
        }
    }

    void watchLoading() {
        loadWatch = loop.after(Millis(options.longestLoad.count()), [this] { childEnded(); });
    }

    void watchAnswer() {
        answerWatch = loop.after(Millis(options.longestSilence.count()), [this] { childEnded(); });
    }

    void handle(const SpeechMessage& got) {
        const auto utterance = current.lock();
        const bool ours = utterance && !utterance->over && utterance->number == got.utterance;
        switch (got.kind) {
            case SpeechMessage::Kind::ready:
                state = State::ready;
                modelName = got.text;
                loadWatch.cancel();
                if (utterance && utterance->finished) {
                    watchAnswer();
                }
                break;
            case SpeechMessage::Kind::failed:
                loadFailure = got.text.empty() ? "The speech engine cannot be loaded." : got.text;
                // Somebody may mend it meanwhile: after a while it is tried again.
                forgiveness = loop.after(Millis(30000), [this] { loadFailure.clear(); });
                childEnded();
                break;
            case SpeechMessage::Kind::progress:
                if (state == State::loading) {
                    watchLoading();
                }
                if (ours && utterance->finished) {
                    watchAnswer();
                }
                break;
            case SpeechMessage::Kind::partial:
                if (ours && utterance->callbacks.onPartial) {
                    utterance->callbacks.onPartial(got.text);
                }
                break;
            case SpeechMessage::Kind::final:
                if (ours && utterance->finished) {
                    utterance->over = true;
                    current.reset();
                    answerWatch.cancel();
                    touch();
                    if (utterance->callbacks.onFinal) {
                        utterance->callbacks.onFinal(got.text);
                    }
                }
                break;
            default:
                childEnded();
                break;
        }
    }
};

namespace {

class ProcessSpeechSession final : public SpeechSession {
public:
    ProcessSpeechSession(std::shared_ptr<Utterance> utterance, std::shared_ptr<SpeechChild> child,
                         std::function<void()> onFinish)
        : utterance_(std::move(utterance)), child_(std::move(child)), onFinish_(std::move(onFinish)) {}

    ~ProcessSpeechSession() override {
        if (!utterance_->over && child_) {
            child_->send(encoded(message(SpeechMessage::Kind::abandon, utterance_->number)));
        }
        utterance_->over = true;
    }

    void append(std::span<const float> interleaved) override {
        if (!child_) {
            return;
        }
        constexpr std::size_t most = 65536;
        while (!interleaved.empty()) {
            const auto some = interleaved.first(std::min(most, interleaved.size()));
            child_->send(encodedSamples(utterance_->number, some));
            interleaved = interleaved.subspan(some.size());
        }
    }

    void finish() override {
        if (utterance_->over || utterance_->finished) {
            return;
        }
        utterance_->finished = true;
        if (child_) {
            child_->send(encoded(message(SpeechMessage::Kind::finish, utterance_->number)));
        }
        onFinish_();
    }

private:
    std::shared_ptr<Utterance> utterance_;
    /// Kept here as well: the audio thread uses it while the main loop may already have given the process up.
    std::shared_ptr<SpeechChild> child_;
    std::function<void()> onFinish_;
};

}  // namespace

ProcessSpeechRecognizer::ProcessSpeechRecognizer(MainLoop& loop, Options options)
    : core_(std::make_shared<Core>(loop, std::move(options))) {}

ProcessSpeechRecognizer::ProcessSpeechRecognizer(MainLoop& loop, SpeechPlaces places)
    : ProcessSpeechRecognizer(loop, [&] {
          Options options;
          options.places = std::move(places);
          return options;
      }()) {}

ProcessSpeechRecognizer::~ProcessSpeechRecognizer() {
    core_->dropChild();
}

bool ProcessSpeechRecognizer::isAvailable() const {
    return unavailableReason().empty();
}

std::string ProcessSpeechRecognizer::unavailableReason() const {
    return core_->loadFailure.empty() ? missingSpeechParts(core_->options.places) : core_->loadFailure;
}

void ProcessSpeechRecognizer::prepare() {
    if (missingSpeechParts(core_->options.places).empty()) {
        static_cast<void>(core_->ensureChild());
    }
}

std::unique_ptr<SpeechSession> ProcessSpeechRecognizer::begin(int sampleRate, int channels, SpeechVocabulary vocabulary,
                                                              SpeechCallbacks callbacks) {
    if (const auto old = core_->current.lock()) {
        old->over = true;
    }
    auto utterance = std::make_shared<Utterance>();
    utterance->number = ++core_->lastUtterance;
    utterance->callbacks = std::move(callbacks);
    core_->current = utterance;
    core_->answerWatch.cancel();
    const std::weak_ptr<Core> weak = core_;
    if (!core_->ensureChild()) {
        core_->loop.post([weak, number = utterance->number] {
            const auto core = weak.lock();
            const auto still = core ? core->current.lock() : nullptr;
            if (still && still->number == number) {
                core->fail(SpeechError::unavailable);
            }
        });
    } else {
        utterance->child = core_->child;
        SpeechMessage begun = message(SpeechMessage::Kind::begin, utterance->number);
        begun.sampleRate = sampleRate;
        begun.channels = channels;
        begun.vocabulary = std::move(vocabulary);
        core_->child->send(encoded(begun));
    }
    return std::make_unique<ProcessSpeechSession>(utterance, utterance->child, [weak] {
        if (const auto core = weak.lock(); core && core->state == State::ready) {
            core->watchAnswer();
        }
    });
}

ProcessSpeechRecognizer::State ProcessSpeechRecognizer::state() const {
    return core_->state;
}
std::string ProcessSpeechRecognizer::modelName() const {
    return core_->modelName;
}

void ProcessSpeechRecognizer::setPlaces(SpeechPlaces places) {
    core_->options.places = std::move(places);
    core_->loadFailure.clear();
    core_->dropChild();
    core_->fail(SpeechError::engineStopped);
}

int ProcessSpeechRecognizer::processId() const {
    return core_->child ? core_->child->processId() : 0;
}

}  // namespace tolvik
