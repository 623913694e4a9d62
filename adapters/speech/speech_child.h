#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <thread>

#include "adapters/speech/speech_models.h"
#include "adapters/speech/speech_protocol.h"
#include "base/result.h"

namespace tolvik {

/// A running speech process and the thread that talks to it. Destroying it ends the process at once and waits for it.
class SpeechChild {
public:
    /// Both are called on the talking thread; after `onEnd`, which comes once, nothing follows. `onEnd` also comes when
    /// the process speaks nonsense, which ends it.
    struct Events {
        std::function<void(SpeechMessage)> onMessage;
        std::function<void()> onEnd;
    };
    /// The process ends by itself after `idle` without a message, and when this process dies.
    [[nodiscard]] static Result<std::unique_ptr<SpeechChild>, std::string> start(const SpeechPlaces& places,
                                                                                 std::chrono::seconds idle,
                                                                                 Events events);
    SpeechChild(const SpeechChild&) = delete;
    SpeechChild& operator=(const SpeechChild&) = delete;
    ~SpeechChild();

    /// Ends the process soon, without waiting and without `onEnd`. Any thread.
    void stop();

    /// Hands over an encoded message; keeps it until the process takes it. Any thread; waits for nothing but a short
    /// lock. Bytes for a process that has ended are dropped.
    void send(const std::string& bytes);
    [[nodiscard]] pid_t processId() const { return process_; }

private:
    SpeechChild(pid_t process, int socket, int wake, Events events);
    void talk();
    void wake();
    [[nodiscard]] bool writeSome();

    pid_t process_;
    int socket_;
    int wake_;
    Events events_;
    std::mutex mutex_;  ///< guards what is queued
    std::string queued_;
    bool stopping_ = false;
    bool ended_ = false;
    std::string writing_;  ///< the talking thread's own
    std::size_t written_ = 0;
    std::thread thread_;
};

}  // namespace tolvik
