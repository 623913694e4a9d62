#include "adapters/pulse/pulse_microphone.h"

#include <atomic>
#include <chrono>
#include <spdlog/spdlog.h>
#include <utility>

#include "adapters/pulse/pulse_connection.h"

namespace tolvik {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr Millis firstAnswer{100};
/// How much sound the server collects before it sends it on.
constexpr Millis fragment{10};
/// What reaches us this long after the call was captured after it: a fragment, and half as much inside the device.
constexpr Millis drainReach{15};
constexpr Millis drainLimit{40};

}  // namespace

/// One stream. Callbacks of the server's thread stop when it is destroyed.
class PulseRecording final : public Microphone::Recording {
public:
    PulseRecording(std::shared_ptr<PulseConnection> connection, const PulseSource& source,
                   Microphone::Callbacks callbacks)
        : connection_(std::move(connection)),
          format_{static_cast<int>(source.spec.rate), static_cast<int>(source.spec.channels)},
          onSamples_(std::move(callbacks.onSamples)),
          onEnded_(std::make_shared<std::function<void()>>(std::move(callbacks.onEnded))) {}

    PulseRecording(const PulseRecording&) = delete;
    PulseRecording& operator=(const PulseRecording&) = delete;

    ~PulseRecording() override {
        onEnded_.reset();
        const PulseConnection::Lock lock(*connection_);
        if (stream_ != nullptr) {
            pa_stream_set_read_callback(stream_, nullptr, nullptr);
            pa_stream_set_state_callback(stream_, nullptr, nullptr);
            end(stream_);
            pa_stream_unref(stream_);
        }
    }

    /// Why it cannot be opened, or nothing.
    [[nodiscard]] std::optional<MicrophoneError> open(const PulseSource& source) {
        const PulseConnection::Lock lock(*connection_);
        pa_context* context = connection_->context();
        if (context == nullptr) {
            return MicrophoneError{MicrophoneError::Kind::failed, "the sound server does not answer"};
        }
        pa_sample_spec spec = source.spec;
        spec.format = PA_SAMPLE_FLOAT32NE;
        stream_ = pa_stream_new(context, "Voice command", &spec, &source.map);
        if (stream_ == nullptr) {
            return failed(context);
        }
        pa_stream_set_read_callback(
            stream_, [](pa_stream*, std::size_t, void* self) { static_cast<PulseRecording*>(self)->read(); }, this);
        pa_stream_set_state_callback(
            stream_, [](pa_stream*, void* self) { static_cast<PulseRecording*>(self)->stateChanged(); }, this);
        constexpr auto unset = static_cast<std::uint32_t>(-1);
        const auto size = pa_usec_to_bytes(fragment / std::chrono::microseconds{1}, &spec);
        const pa_buffer_attr attributes{unset, unset, unset, unset, static_cast<std::uint32_t>(size)};
        constexpr auto flags = static_cast<pa_stream_flags_t>(PA_STREAM_ADJUST_LATENCY | PA_STREAM_DONT_MOVE);
        if (pa_stream_connect_record(stream_, source.name.c_str(), &attributes, flags) < 0) {
            return failed(context);
        }
        return std::nullopt;
    }

    [[nodiscard]] AudioFormat format() const override { return format_; }

    void drain() override {
        std::unique_lock lock(mutex_);
        const auto called = SteadyClock::now();
        arrived_.wait_until(lock, called + drainLimit,
                            [&] { return hasEnded_ || lastArrival_ >= called + drainReach; });
        drained_ = true;
    }

private:
    /// Ends a stream that nobody hears any more. While the server has not answered yet it cannot be told to end it, and
    /// would record for ever.
    static void end(pa_stream* stream) {
        if (pa_stream_get_state(stream) != PA_STREAM_CREATING) {
            pa_stream_disconnect(stream);
            return;
        }
        pa_stream_set_state_callback(
            stream,
            [](pa_stream* late, void*) {
                if (pa_stream_get_state(late) == PA_STREAM_READY) {
                    pa_stream_set_state_callback(late, nullptr, nullptr);
                    pa_stream_disconnect(late);
                }
            },
            nullptr);
    }

    static MicrophoneError failed(pa_context* context) {
        const int code = pa_context_errno(context);
        return {code == PA_ERR_ACCESS ? MicrophoneError::Kind::denied : MicrophoneError::Kind::failed,
                pa_strerror(code)};
    }

    void read() {
        while (pa_stream_readable_size(stream_) > 0) {
            const void* data = nullptr;
            std::size_t bytes = 0;
            if (pa_stream_peek(stream_, &data, &bytes) < 0 || bytes == 0) {
                break;
            }
            deliver(static_cast<const float*>(data), bytes / sizeof(float));
            pa_stream_drop(stream_);
        }
        {
            const std::scoped_lock lock(mutex_);
            lastArrival_ = SteadyClock::now();
        }
        arrived_.notify_all();
    }

    void deliver(const float* samples, std::size_t count) {
        {
            const std::scoped_lock lock(mutex_);
            if (drained_) {
                return;
            }
        }
        if (samples != nullptr) {
            onSamples_({samples, count});
            return;
        }
        // A hole in the stream keeps its length, as silence.
        const std::vector<float> silence(count);
        onSamples_(silence);
    }

    void stateChanged() {
        const pa_stream_state_t state = pa_stream_get_state(stream_);
        if (PA_STREAM_IS_GOOD(state)) {
            return;
        }
        spdlog::info("The microphone's stream ended: {}",
                     pa_strerror(pa_context_errno(pa_stream_get_context(stream_))));
        {
            const std::scoped_lock lock(mutex_);
            if (std::exchange(hasEnded_, true)) {
                return;
            }
        }
        arrived_.notify_all();
        connection_->loop().post([weak = std::weak_ptr(onEnded_)] {
            if (const auto ended = weak.lock(); ended && *ended) {
                (*ended)();
            }
        });
    }

    std::shared_ptr<PulseConnection> connection_;
    AudioFormat format_;
    std::function<void(std::span<const float>)> onSamples_;
    // Reset on the main loop before the stream goes, so nothing that was posted is delivered afterwards.
    std::shared_ptr<std::function<void()>> onEnded_;
    pa_stream* stream_ = nullptr;

    std::mutex mutex_;
    std::condition_variable arrived_;
    SteadyClock::time_point lastArrival_;
    bool drained_ = false;
    bool hasEnded_ = false;
};

PulseMicrophone::PulseMicrophone(MainLoop& loop) : connection_(std::make_shared<PulseConnection>(loop)) {}
PulseMicrophone::~PulseMicrophone() = default;

std::optional<MicrophoneError> PulseMicrophone::check() const {
    const auto found = connection_->find({}, firstAnswer);
    return found ? std::nullopt : std::optional(found.error());
}

Result<std::unique_ptr<Microphone::Recording>, MicrophoneError> PulseMicrophone::start(const std::string& deviceId,
                                                                                       Callbacks callbacks) {
    const auto source = connection_->find(deviceId, firstAnswer);
    if (!source) {
        return failure(source.error());
    }
    auto recording = std::make_unique<PulseRecording>(connection_, *source, std::move(callbacks));
    if (const auto problem = recording->open(*source)) {
        return failure(*problem);
    }
    return recording;
}

std::vector<MicrophoneDevice> PulseMicrophone::devices() const {
    return connection_->devices();
}

void PulseMicrophone::onDevicesChanged(std::function<void()> callback) {
    connection_->onDevicesChanged(std::move(callback));
}

}  // namespace tolvik
