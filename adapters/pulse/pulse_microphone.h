#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/main_loop.h"
#include "voice/capture/microphone.h"

namespace tolvik {

class PulseConnection;

/// Input devices of a PulseAudio server, or of PipeWire, which speaks the same protocol. Connects when it is made and
/// stays connected, so that a recording starts within a few milliseconds; looks for the server again when it goes.
/// Devices that only repeat what a loudspeaker plays are no microphones, unless the user made one the default.
class PulseMicrophone final : public Microphone {
public:
    /// `loop` outlives the microphone.
    explicit PulseMicrophone(MainLoop& loop);
    ~PulseMicrophone() override;

    /// Waits up to 100 ms while the first connection is being made.
    [[nodiscard]] std::optional<MicrophoneError> check() const override;
    /// Takes the sound as the device has it, without conversion of rate or channels. A device that goes ends the
    /// recording; it is never moved to another one.
    [[nodiscard]] Result<std::unique_ptr<Recording>, MicrophoneError> start(const std::string& deviceId,
                                                                            Callbacks callbacks) override;
    [[nodiscard]] std::vector<MicrophoneDevice> devices() const override;
    void onDevicesChanged(std::function<void()> callback) override;

private:
    // Shared with the recordings, which may outlive the microphone.
    std::shared_ptr<PulseConnection> connection_;
};

}  // namespace tolvik
