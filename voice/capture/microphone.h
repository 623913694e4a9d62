#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/result.h"

namespace tolvik {

struct AudioFormat {
    int sampleRate = 0;  ///< Hz
    int channels = 0;
    bool operator==(const AudioFormat&) const = default;
};

struct MicrophoneDevice {
    /// Stable across restarts; what the settings keep. The empty id means "follow the default".
    std::string id;
    /// For the user.
    std::string name;
    bool isDefault = false;
};

struct MicrophoneError {
    enum class Kind : std::uint8_t { denied, noDevice, failed };
    Kind kind = Kind::failed;
    /// For `failed`: the failure's description.
    std::string description;
};

/// Sound from an input device.
class Microphone {
public:
    Microphone() = default;
    Microphone(const Microphone&) = delete;
    Microphone& operator=(const Microphone&) = delete;
    virtual ~Microphone() = default;

    struct Callbacks {
        /// Interleaved samples in [-1, 1], in the order spoken. Comes on the audio thread: append only.
        std::function<void(std::span<const float> interleaved)> onSamples;
        /// The input ended by itself (unplugged, server gone). Main loop; no samples follow.
        std::function<void()> onEnded;
    };
    /// A running recording; destroying it stops it, after which no callback comes.
    class Recording {
    public:
        Recording() = default;
        Recording(const Recording&) = delete;
        Recording& operator=(const Recording&) = delete;
        virtual ~Recording() = default;
        /// The device's own rate and channel count.
        [[nodiscard]] virtual AudioFormat format() const = 0;
        /// Stops taking sound and delivers what was captured before this call; returns when the last of it was handed
        /// to `onSamples`. Bounded by some tens of milliseconds.
        virtual void drain() = 0;
    };

    /// Whether there is a device to record from; none when all is well. Answers at once.
    [[nodiscard]] virtual std::optional<MicrophoneError> check() const = 0;
    /// Starts recording from the chosen device, or the default when it is "" or gone. Main loop.
    [[nodiscard]] virtual Result<std::unique_ptr<Recording>, MicrophoneError> start(const std::string& deviceId,
                                                                                    Callbacks callbacks) = 0;
    [[nodiscard]] virtual std::vector<MicrophoneDevice> devices() const = 0;
    /// The list of devices or the default changed. Main loop.
    virtual void onDevicesChanged(std::function<void()> callback) = 0;
};

}  // namespace tolvik
