#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <pulse/pulseaudio.h>
#include <string>
#include <vector>

#include "base/main_loop.h"
#include "voice/capture/microphone.h"

namespace tolvik {

/// An input device as the server describes it.
struct PulseSource {
    std::string name;
    std::string description;
    pa_sample_spec spec{};
    pa_channel_map map{};
    /// It repeats what a sink plays.
    bool isMonitor = false;
};

/// The connection to the sound server and what is known of its devices. Its own thread runs the server's callbacks.
class PulseConnection {
public:
    explicit PulseConnection(MainLoop& loop);
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;
    ~PulseConnection();

    /// Holds the server's thread back; needed around every call of libpulse from another thread.
    class Lock {
    public:
        explicit Lock(const PulseConnection& connection) : loop_(connection.thread_) {
            pa_threaded_mainloop_lock(loop_);
        }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;
        ~Lock() { pa_threaded_mainloop_unlock(loop_); }

    private:
        pa_threaded_mainloop* loop_;
    };

    /// The present context, null while there is none. Under the lock.
    [[nodiscard]] pa_context* context() const { return context_; }
    [[nodiscard]] MainLoop& loop() const { return loop_; }

    /// The device of that name, or else the default one; why there is none. Waits for the first answer of the server,
    /// `atMost`. Any thread.
    [[nodiscard]] Result<PulseSource, MicrophoneError> find(const std::string& name, Millis atMost) const;
    [[nodiscard]] std::vector<MicrophoneDevice> devices() const;
    /// Main loop.
    void onDevicesChanged(std::function<void()> callback);

private:
    /// What the server last said.
    struct Known {
        bool isAnswered = false;
        std::optional<MicrophoneError> problem;
        std::vector<PulseSource> sources;
        std::string defaultName;
    };

    // On the server's thread.
    void connect();
    void disconnect();
    void stateChanged();
    void retryLater();
    void askForDevices();
    void publish(Known known);

    MainLoop& loop_;
    pa_threaded_mainloop* thread_ = nullptr;
    pa_context* context_ = nullptr;
    pa_time_event* retry_ = nullptr;
    // Collected until the last answer of one enquiry has come.
    Known incoming_;

    mutable std::mutex mutex_;
    mutable std::condition_variable answered_;
    Known known_;
    std::shared_ptr<std::function<void()>> devicesChanged_;
};

}  // namespace tolvik
