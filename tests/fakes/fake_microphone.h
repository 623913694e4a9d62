#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "voice/capture/microphone.h"

namespace tolvik {

/// A microphone that hears what the test says, on the calling thread.
class FakeMicrophone final : public Microphone {
public:
    [[nodiscard]] std::optional<MicrophoneError> check() const override { return problem; }

    [[nodiscard]] Result<std::unique_ptr<Recording>, MicrophoneError> start(const std::string& deviceId,
                                                                            Callbacks callbacks) override {
        if (startFailure) {
            return std::unexpected(*startFailure);
        }
        startedDevices.push_back(deviceId);
        callbacks_ = std::move(callbacks);
        return std::make_unique<FakeRecording>(*this);
    }

    [[nodiscard]] std::vector<MicrophoneDevice> devices() const override { return list; }
    void onDevicesChanged(std::function<void()> callback) override { devicesChanged_ = std::move(callback); }

    [[nodiscard]] bool isRecording() const { return recordings_ > 0; }
    /// `frames` frames of a constant value on every channel.
    void hear(std::size_t frames, float value) {
        if (callbacks_.onSamples) {
            const std::vector<float> samples(frames * static_cast<std::size_t>(format.channels), value);
            callbacks_.onSamples(samples);
        }
    }
    /// Samples that are under way inside the device and come out when it is drained.
    void hearLate(std::size_t frames, float value) { late_ = {frames, value}; }
    /// Pulls the plug.
    void unplug() {
        const auto ended = callbacks_.onEnded;
        if (ended) {
            ended();
        }
    }
    void changeDevices(std::vector<MicrophoneDevice> devices) {
        list = std::move(devices);
        if (devicesChanged_) {
            devicesChanged_();
        }
    }

    AudioFormat format{16'000, 1};
    std::vector<MicrophoneDevice> list{{"fake", "Fake microphone", true}};
    std::optional<MicrophoneError> problem;
    std::optional<MicrophoneError> startFailure;
    /// The device asked for, once a start.
    std::vector<std::string> startedDevices;

private:
    class FakeRecording final : public Recording {
    public:
        explicit FakeRecording(FakeMicrophone& owner) : owner_(owner) { ++owner_.recordings_; }
        ~FakeRecording() override {
            --owner_.recordings_;
            owner_.callbacks_ = {};
        }
        [[nodiscard]] AudioFormat format() const override { return owner_.format; }
        void drain() override {
            const auto [frames, value] = std::exchange(owner_.late_, {});
            owner_.hear(frames, value);
        }

    private:
        FakeMicrophone& owner_;
    };

    Callbacks callbacks_;
    std::function<void()> devicesChanged_;
    std::pair<std::size_t, float> late_{};
    int recordings_ = 0;
};

}  // namespace tolvik
