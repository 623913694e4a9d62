#include "adapters/speech/speech_server.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <memory>
#include <mutex>
#include <poll.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "adapters/speech/listening.h"
#include "adapters/speech/speech_protocol.h"
#include "voice/hearing/decode_plan.h"
#include "voice/hearing/resampler.h"

namespace tolvik {
namespace {

struct Utterance {
    Utterance(std::uint32_t number_, int sampleRate, int channels) : number(number_), resampler(sampleRate, channels) {}

    std::uint32_t number;
    Resampler resampler;
    DecodePlan plan;
    std::string lastPartial;
    bool answered = false;
};

using std::chrono::milliseconds;

constexpr milliseconds beatEvery{1000};
/// Less work between two beats is none: only this thread ran.
constexpr milliseconds leastWork{20};
/// Work that brings no end in this much time of the processor never will.
constexpr milliseconds mostWork{60000};

/// The processor's time that this process has used.
milliseconds timeWorked() {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

class Server {
public:
    Server(int socket, const SpeechPlaces& places) : socket_(socket), places_(places) {}

    int run(milliseconds idle);

private:
    struct Work {
        std::shared_ptr<Utterance> utterance;
        DecodePlan::Job job;
        std::vector<float> samples;
        bool mayBeCommand = true;
        pid_t thread = 0;  ///< once it runs
    };

    void load();
    void work(const std::shared_ptr<Work>& work);
    void handle(SpeechMessage message);
    void pump();
    void refreshVocabulary();
    void send(const SpeechMessage& message);
    [[nodiscard]] bool isWorking();
    void beat();

    int socket_;
    SpeechPlaces places_;
    std::mutex sendMutex_;

    std::mutex mutex_;  ///< guards all that follows
    std::unique_ptr<Listening> listening_;
    bool loading_ = false;
    bool vocabularyStale_ = false;
    SpeechVocabulary vocabulary_;
    std::shared_ptr<Utterance> current_;
    std::vector<std::shared_ptr<Work>> running_;
    milliseconds lastBeat_{0};  ///< of the time worked
    milliseconds lastEnd_{0};   ///< the same when something was last completed
};

bool Server::isWorking() {
    const std::lock_guard lock(mutex_);
    return !running_.empty() || (loading_ && !listening_);
}

/// Tells the application that work goes on. On a busy machine that may take long; a thread that waits for ever uses no
/// processor, and one that runs in circles is given up in the end.
void Server::beat() {
    SpeechMessage alive;
    alive.kind = SpeechMessage::Kind::progress;
    {
        const std::lock_guard lock(mutex_);
        const milliseconds now = timeWorked();
        const bool works = now - lastBeat_ >= leastWork && now - lastEnd_ < mostWork;
        lastBeat_ = now;
        if (!works) {
            return;
        }
        alive.utterance = current_ ? current_->number : 0;
    }
    send(alive);
}

void Server::send(const SpeechMessage& message) {
    const std::string bytes = encoded(message);
    const std::lock_guard lock(sendMutex_);
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t sent = ::send(socket_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
        if (sent < 0 && errno == EINTR) {
            continue;
        }
        if (sent <= 0) {
            return;  // the reader learns of it as the end of the stream
        }
        at += static_cast<std::size_t>(sent);
    }
}

void Server::load() {
    auto loaded = Listening::load(places_);
    SpeechMessage answer;
    if (!loaded) {
        answer.kind = SpeechMessage::Kind::failed;
        answer.text = loaded.error();
        send(answer);
        return;
    }
    answer.kind = SpeechMessage::Kind::ready;
    answer.text = (*loaded)->modelName();
    // The first decode is slower than all others: it is done before anybody waits for it.
    static_cast<void>((*loaded)->hear(std::vector<float>(DecodePlan::rate / 2, 0.0F), false));
    {
        const std::lock_guard lock(mutex_);
        listening_ = std::move(*loaded);
        vocabularyStale_ = true;
        lastEnd_ = timeWorked();
    }
    send(answer);
    const std::lock_guard lock(mutex_);
    pump();
}

/// Needs the mutex. Starts what the plan asks for.
void Server::pump() {
    if (!current_ || !listening_) {
        return;
    }
    while (const auto job = current_->plan.next(running_.size())) {
        const auto& samples = current_->plan.samples();
        auto next = std::make_shared<Work>();
        next->utterance = current_;
        next->job = *job;
        next->samples.assign(samples.begin() + static_cast<std::ptrdiff_t>(job->begin),
                             samples.begin() + static_cast<std::ptrdiff_t>(job->end));
        next->mayBeCommand = !current_->plan.isLong();
        // What runs already heard less: it gives way, so that the newest text, which may be the last, comes first. A
        // thread cannot take its precedence back, so each decode has its own.
        for (const auto& older : running_) {
            if (older->thread != 0) {
                setpriority(PRIO_PROCESS, static_cast<id_t>(older->thread), 10);
            }
        }
        running_.push_back(next);
        std::thread([this, next] { work(next); }).detach();
    }
    if (current_->answered) {
        return;
    }
    SpeechMessage answer;
    answer.utterance = current_->number;
    if (auto text = current_->plan.finalText()) {
        answer.kind = SpeechMessage::Kind::final;
        answer.text = std::move(*text);
        current_->answered = true;
        send(answer);
    } else if (std::string text2 = current_->plan.textSoFar(); text2 != current_->lastPartial) {
        answer.kind = SpeechMessage::Kind::partial;
        answer.text = text2;
        current_->lastPartial = std::move(text2);
        send(answer);
    }
}

/// Needs the mutex and the engine.
void Server::refreshVocabulary() {
    if (vocabularyStale_) {
        listening_->setVocabulary(vocabulary_);
        vocabularyStale_ = false;
    }
}

void Server::work(const std::shared_ptr<Work>& work) {
    Listening* listening = nullptr;
    bool wanted = false;
    {
        const std::lock_guard lock(mutex_);
        work->thread = gettid();
        listening = listening_.get();
        wanted = work->utterance == current_;
        refreshVocabulary();
    }
    std::string text = wanted ? listening->hear(work->samples, work->mayBeCommand).text : std::string();
    SpeechMessage alive;
    alive.kind = SpeechMessage::Kind::progress;
    alive.utterance = work->utterance->number;
    send(alive);
    const std::lock_guard lock(mutex_);
    lastEnd_ = timeWorked();
    std::erase(running_, work);
    work->utterance->plan.decoded(work->job, std::move(text));
    pump();
}

void Server::handle(SpeechMessage message) {
    const std::lock_guard lock(mutex_);
    switch (message.kind) {
        case SpeechMessage::Kind::prepare:
            if (!loading_) {
                loading_ = true;
                std::thread([this] { load(); }).detach();
            }
            break;
        case SpeechMessage::Kind::begin:
            current_ = std::make_shared<Utterance>(message.utterance, message.sampleRate, message.channels);
            if (message.vocabulary != vocabulary_) {
                vocabulary_ = std::move(message.vocabulary);
                vocabularyStale_ = true;
            }
            if (listening_ && vocabularyStale_) {
                // Made ready while the first word is spoken, and not when its text is wanted.
                std::thread([this] {
                    const std::lock_guard late(mutex_);
                    refreshVocabulary();
                }).detach();
            }
            break;
        case SpeechMessage::Kind::samples:
            if (current_ && current_->number == message.utterance) {
                current_->plan.append(current_->resampler.convert(message.samples));
                pump();
            }
            break;
        case SpeechMessage::Kind::finish:
            if (current_ && current_->number == message.utterance) {
                current_->plan.append(current_->resampler.flush());
                current_->plan.finish();
                pump();
            }
            break;
        case SpeechMessage::Kind::abandon:
            if (current_ && current_->number == message.utterance) {
                current_.reset();
            }
            break;
        default:
            break;
    }
}

int Server::run(milliseconds idle) {
    using Time = std::chrono::steady_clock;
    SpeechMessageReader reader;
    std::array<char, 65536> bytes{};
    auto heardOf = Time::now();
    auto beaten = heardOf;
    while (true) {
        const bool working = isWorking();
        if (working && Time::now() - beaten >= beatEvery) {
            beat();
            beaten = Time::now();
        }
        const auto left = std::chrono::duration_cast<milliseconds>(heardOf + idle - Time::now());
        if (left <= milliseconds(0)) {
            return 0;
        }
        pollfd ready{socket_, POLLIN, 0};
        const int count = poll(&ready, 1, static_cast<int>((working ? std::min(left, beatEvery) : left).count()));
        if (count == 0) {
            continue;
        }
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return 1;
        }
        const ssize_t got = recv(socket_, bytes.data(), bytes.size(), 0);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return 0;  // the application is gone
        }
        heardOf = Time::now();
        reader.append({bytes.data(), static_cast<std::size_t>(got)});
        while (true) {
            auto message = reader.next();
            if (!message) {
                return 2;
            }
            if (!*message) {
                break;
            }
            handle(std::move(**message));
        }
    }
}

}  // namespace

int serveSpeech(int socket, const SpeechPlaces& places, std::chrono::milliseconds idle) {
    // The server outlives this call on purpose: its threads may be inside the engine when the process ends.
    auto* server = new Server(socket, places);
    return server->run(idle);
}

}  // namespace tolvik
