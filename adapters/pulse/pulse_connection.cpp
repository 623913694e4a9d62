#include "adapters/pulse/pulse_connection.h"

#include <algorithm>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

namespace {
constexpr pa_usec_t retryAfter = 2 * PA_USEC_PER_SEC;

void release(pa_operation* operation) {
    if (operation != nullptr) {
        pa_operation_unref(operation);
    }
}
}  // namespace

PulseConnection::PulseConnection(MainLoop& loop) : loop_(loop), thread_(pa_threaded_mainloop_new()) {
    pa_threaded_mainloop_set_name(thread_, "tolvik-sound");
    connect();
    pa_threaded_mainloop_start(thread_);
}

PulseConnection::~PulseConnection() {
    pa_threaded_mainloop_stop(thread_);
    disconnect();
    if (retry_ != nullptr) {
        pa_threaded_mainloop_get_api(thread_)->time_free(retry_);
    }
    pa_threaded_mainloop_free(thread_);
}

void PulseConnection::connect() {
    context_ = pa_context_new(pa_threaded_mainloop_get_api(thread_), "Tolvik");
    pa_context_set_state_callback(
        context_, [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->stateChanged(); }, this);
    if (pa_context_connect(context_, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0) {
        stateChanged();
    }
}

void PulseConnection::disconnect() {
    if (context_ == nullptr) {
        return;
    }
    pa_context_set_state_callback(context_, nullptr, nullptr);
    pa_context_set_subscribe_callback(context_, nullptr, nullptr);
    pa_context_disconnect(context_);
    pa_context_unref(context_);
    context_ = nullptr;
}

void PulseConnection::stateChanged() {
    const pa_context_state_t state = pa_context_get_state(context_);
    if (state == PA_CONTEXT_READY) {
        pa_context_set_subscribe_callback(
            context_,
            [](pa_context*, pa_subscription_event_type_t, std::uint32_t, void* self) {
                static_cast<PulseConnection*>(self)->askForDevices();
            },
            this);
        constexpr auto wanted =
            static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SOURCE | PA_SUBSCRIPTION_MASK_SERVER);
        release(pa_context_subscribe(context_, wanted, nullptr, nullptr));
        askForDevices();
        return;
    }
    if (PA_CONTEXT_IS_GOOD(state)) {
        return;
    }
    const int code = pa_context_errno(context_);
    Known known;
    known.isAnswered = true;
    if (code == PA_ERR_ACCESS || code == PA_ERR_AUTHKEY) {
        known.problem = MicrophoneError{MicrophoneError::Kind::denied, {}};
    } else {
        known.problem = MicrophoneError{MicrophoneError::Kind::failed,
                                        std::string("the sound server does not answer (") + pa_strerror(code) + ")"};
    }
    publish(std::move(known));
    retryLater();
}

void PulseConnection::retryLater() {
    const pa_usec_t when = pa_rtclock_now() + retryAfter;
    if (retry_ != nullptr) {
        pa_context_rttime_restart(context_, retry_, when);
        return;
    }
    retry_ = pa_context_rttime_new(
        context_, when,
        [](pa_mainloop_api*, pa_time_event*, const timeval*, void* data) {
            auto* self = static_cast<PulseConnection*>(data);
            self->disconnect();
            self->connect();
        },
        this);
}

void PulseConnection::askForDevices() {
    incoming_ = {};
    release(pa_context_get_server_info(
        context_,
        [](pa_context*, const pa_server_info* info, void* data) {
            auto* self = static_cast<PulseConnection*>(data);
            if (info != nullptr && info->default_source_name != nullptr) {
                self->incoming_.defaultName = info->default_source_name;
            }
        },
        this));
    // Answers come in the order of the questions, so the end of this list ends the enquiry.
    release(pa_context_get_source_info_list(
        context_,
        [](pa_context*, const pa_source_info* info, int end, void* data) {
            auto* self = static_cast<PulseConnection*>(data);
            if (end == 0) {
                self->incoming_.sources.push_back(
                    {.name = info->name,
                     .description = info->description != nullptr ? info->description : info->name,
                     .spec = info->sample_spec,
                     .map = info->channel_map,
                     .isMonitor = info->monitor_of_sink != PA_INVALID_INDEX});
            } else {
                self->incoming_.isAnswered = true;
                self->publish(std::exchange(self->incoming_, {}));
            }
        },
        this));
}

void PulseConnection::publish(Known known) {
    // Two enquiries that overlap would list a device twice.
    std::vector<PulseSource>& sources = known.sources;
    std::ranges::stable_sort(sources, {}, &PulseSource::name);
    const auto doubles = std::ranges::unique(sources, {}, &PulseSource::name);
    sources.erase(doubles.begin(), doubles.end());
    {
        const std::scoped_lock lock(mutex_);
        known_ = std::move(known);
        if (known_.problem && !known_.problem->description.empty()) {
            spdlog::debug("Microphone: {}", known_.problem->description);
        }
    }
    answered_.notify_all();
    const std::scoped_lock lock(mutex_);
    if (devicesChanged_) {
        loop_.post([weak = std::weak_ptr(devicesChanged_)] {
            if (const auto callback = weak.lock(); callback && *callback) {
                (*callback)();
            }
        });
    }
}

Result<PulseSource, MicrophoneError> PulseConnection::find(const std::string& name, Millis atMost) const {
    std::unique_lock lock(mutex_);
    answered_.wait_for(lock, atMost, [this] { return known_.isAnswered; });
    if (!known_.isAnswered) {
        return failure(MicrophoneError{MicrophoneError::Kind::failed, "the sound server does not answer"});
    }
    if (known_.problem) {
        return failure(*known_.problem);
    }
    const PulseSource* best = nullptr;
    for (const PulseSource& source : known_.sources) {
        if (source.name == name) {
            return source;
        }
        const bool isDefault = source.name == known_.defaultName;
        if (isDefault || (best == nullptr && !source.isMonitor)) {
            best = &source;
        }
    }
    // Where there is no microphone the server calls a loudspeaker's monitor the default.
    const bool any = std::ranges::any_of(known_.sources, [](const PulseSource& s) { return !s.isMonitor; });
    if (best == nullptr || !any) {
        return failure(MicrophoneError{MicrophoneError::Kind::noDevice, {}});
    }
    return *best;
}

std::vector<MicrophoneDevice> PulseConnection::devices() const {
    const std::scoped_lock lock(mutex_);
    std::vector<MicrophoneDevice> out;
    for (const PulseSource& source : known_.sources) {
        if (!source.isMonitor) {
            out.push_back({source.name, source.description, source.name == known_.defaultName});
        }
    }
    return out;
}

void PulseConnection::onDevicesChanged(std::function<void()> callback) {
    const std::scoped_lock lock(mutex_);
    devicesChanged_ = std::make_shared<std::function<void()>>(std::move(callback));
}

}  // namespace tolvik
