#include <atomic>
#include <chrono>
#include <cmath>
#include <gmock/gmock.h>
#include <mutex>

#include "adapters/pulse/pulse_microphone.h"
#include "tests/desktop/desktop_test.h"

namespace tolvik {
namespace {

using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

/// What a recording has delivered, from whatever thread.
struct Heard {
    std::mutex mutex;
    std::vector<float> samples;
    bool ended = false;

    [[nodiscard]] Microphone::Callbacks callbacks() {
        return {.onSamples =
                    [this](std::span<const float> more) {
                        const std::scoped_lock lock(mutex);
                        samples.insert(samples.end(), more.begin(), more.end());
                    },
                .onEnded = [this] { ended = true; }};
    }
    [[nodiscard]] std::size_t count() {
        const std::scoped_lock lock(mutex);
        return samples.size();
    }
    /// The loudness of what was heard from sample `from` on.
    [[nodiscard]] double loudness(std::size_t from = 0) {
        const std::scoped_lock lock(mutex);
        double sum = 0;
        for (std::size_t i = from; i < samples.size(); ++i) {
            sum += static_cast<double>(samples[i]) * static_cast<double>(samples[i]);
        }
        return samples.size() <= from ? 0 : std::sqrt(sum / static_cast<double>(samples.size() - from));
    }
    /// Times per second that the wave crosses zero upwards, over the last `window` samples.
    [[nodiscard]] double frequency(std::size_t window, int rate) {
        const std::scoped_lock lock(mutex);
        int crossings = 0;
        for (std::size_t i = samples.size() - window + 1; i < samples.size(); ++i) {
            crossings += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
        }
        return static_cast<double>(crossings) * rate / static_cast<double>(window);
    }
};

class MicrophoneTest : public DesktopTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(becomes([&] { return !microphone.check(); }));
    }
    static std::string load(const std::string& module) {
        run("pactl load-module " + module + " > module.txt");
        std::string number;
        if (FILE* file = std::fopen("module.txt", "r")) {
            char line[32] = {};
            number = std::fgets(line, sizeof line, file) == nullptr ? "" : line;
            std::fclose(file);
        }
        std::remove("module.txt");
        return number.substr(0, number.find('\n'));
    }
    static const char* playTone() {
        return "sh -c 'ffmpeg -loglevel error -f lavfi -i sine=frequency=440:duration=2 -f wav - | "
               "paplay --device=\"$TOLVIK_VIRTUAL_MIC_SINK\" --latency-msec=20' &";
    }

    PulseMicrophone microphone{loop};
};

TEST_F(MicrophoneTest, HearsWhatIsSaidIntoTheDefaultDevice) {
    EXPECT_THAT(microphone.devices(), ElementsAre(testing::AllOf(Field(&MicrophoneDevice::id, "tolvik_mic"),
                                                                 Field(&MicrophoneDevice::isDefault, true))))
        << "what loudspeakers play is no microphone";
    Heard heard;
    auto recording = microphone.start("", heard.callbacks());
    ASSERT_TRUE(recording);
    EXPECT_EQ((*recording)->format(), (AudioFormat{48'000, 1}));
    ASSERT_TRUE(becomes([&] { return heard.count() > 4'800; }));
    EXPECT_EQ(heard.loudness(), 0.0);

    run(playTone());
    ASSERT_TRUE(becomes([&] { return heard.loudness(4'800) > 0.05; }));
    const std::size_t before = heard.count();
    ASSERT_TRUE(becomes([&] { return heard.count() > before + 24'000; }));
    EXPECT_NEAR(heard.frequency(20'000, 48'000), 440, 5) << "no sample is lost or doubled";

    (*recording)->drain();
    const std::size_t drained = heard.count();
    pass(Millis{100});
    EXPECT_EQ(heard.count(), drained) << "nothing after the drain";
    recording->reset();
    pass(Millis{100});
    EXPECT_FALSE(heard.ended);
}

TEST_F(MicrophoneTest, TakesTheDevicesOwnFormat) {
    const std::string module = load("module-null-sink sink_name=stereo rate=44100 channels=2 norewinds=1");
    const std::string source = load("module-remap-source source_name=stereo_mic master=stereo.monitor");
    ASSERT_TRUE(becomes([&] { return microphone.devices().size() == 2; }));
    Heard heard;
    auto recording = microphone.start("stereo_mic", heard.callbacks());
    ASSERT_TRUE(recording);
    // PipeWire's graph runs at one rate and resamples its devices to it.
    const bool isPipeWire = std::system("pactl info | grep -q PipeWire") == 0;  // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ((*recording)->format(), (AudioFormat{isPipeWire ? 48'000 : 44'100, 2}));
    EXPECT_TRUE(becomes([&] { return heard.count() > 1'000; }));
    EXPECT_EQ(heard.count() % 2, 0U);
    recording->reset();
    run("pactl unload-module " + source + "; pactl unload-module " + module);
}

TEST_F(MicrophoneTest, FollowsTheDefaultAndFallsBackToItWhenTheChosenDeviceIsGone) {
    int changes = 0;
    microphone.onDevicesChanged([&] { ++changes; });
    const std::string sink = load("module-null-sink sink_name=usb rate=16000 channels=2 norewinds=1");
    const std::string source = load("module-remap-source source_name=usb_mic master=usb.monitor");
    // The two devices differ in their channels.
    const auto channelsOf = [&](const char* device) {
        Heard heard;
        auto recording = microphone.start(device, heard.callbacks());
        return recording ? (*recording)->format().channels : 0;
    };
    ASSERT_TRUE(becomes([&] { return microphone.devices().size() == 2; }));
    EXPECT_TRUE(becomes([&] { return changes > 0; }));
    EXPECT_EQ(channelsOf(""), 1);
    EXPECT_EQ(channelsOf("usb_mic"), 2);
    run("pactl set-default-source usb_mic");
    EXPECT_TRUE(becomes([&] { return channelsOf("") == 2; }));
    run("pactl unload-module " + source + "; pactl unload-module " + sink);
    EXPECT_TRUE(becomes([&] { return channelsOf("usb_mic") == 1; }));
    run("pactl set-default-source tolvik_mic");
}

TEST_F(MicrophoneTest, UnpluggingEndsTheRecordingOnce) {
    const std::string sink = load("module-null-sink sink_name=usb rate=16000 channels=1 norewinds=1");
    const std::string source = load("module-remap-source source_name=usb_mic master=usb.monitor");
    ASSERT_TRUE(becomes([&] { return microphone.devices().size() == 2; }));
    Heard heard;
    auto recording = microphone.start("usb_mic", heard.callbacks());
    ASSERT_TRUE(recording);
    ASSERT_TRUE(becomes([&] { return heard.count() > 160; }));
    run("pactl unload-module " + source);
    EXPECT_TRUE(becomes([&] { return heard.ended; }));
    const std::size_t last = heard.count();
    pass(Millis{100});
    EXPECT_EQ(heard.count(), last);
    (*recording)->drain();
    recording->reset();
    run("pactl unload-module " + sink);

    // A recording that is gone before the news arrives hears nothing of it.
    const std::string again = load("module-remap-source source_name=brief_mic master=tolvik_mic_sink.monitor");
    ASSERT_TRUE(becomes([&] { return microphone.devices().size() == 2; }));
    Heard unheard;
    auto brief = microphone.start("brief_mic", unheard.callbacks());
    ASSERT_TRUE(brief);
    run("pactl unload-module " + again);
    brief->reset();
    pass(Millis{200});
    EXPECT_FALSE(unheard.ended);
}

TEST_F(MicrophoneTest, ManyShortRecordingsInARow) {
    for (int i = 0; i < 100; ++i) {
        Heard heard;
        auto recording = microphone.start("", heard.callbacks());
        ASSERT_TRUE(recording) << i;
        if (i % 2 == 0) {
            pass(Millis{i % 7});
        } else {
            (*recording)->drain();
        }
    }
    const auto openStreams = [] {
        return run("pactl list source-outputs | grep -q 'media.name = \"Voice command\"'") == 0;
    };
    EXPECT_TRUE(becomes([&] { return !openStreams(); })) << "a recording that ended is still recorded by the server";
    Heard heard;
    const auto recording = microphone.start("", heard.callbacks());
    EXPECT_TRUE(becomes([&] { return heard.count() > 480; }));
    EXPECT_TRUE(openStreams());
}

// A sound server of the test's own, which comes and goes.
class MicrophoneServerTest : public DesktopTest {
protected:
    MicrophoneServerTest() {
        before_ = std::getenv("PULSE_SERVER");
        socket_ = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/other-pulse";
        ::setenv("PULSE_SERVER", ("unix:" + socket_).c_str(), 1);
    }
    ~MicrophoneServerTest() override { ::setenv("PULSE_SERVER", before_.c_str(), 1); }

    [[nodiscard]] std::unique_ptr<Process> startServer(bool withMicrophone) const {
        // Without a bus, on which the desktop's own server has the name already.
        std::vector<std::string> command{"env",
                                         "-u",
                                         "PULSE_SERVER",
                                         "DBUS_SESSION_BUS_ADDRESS=unix:path=/none",
                                         "PULSE_RUNTIME_PATH=" + socket_ + ".d",
                                         "pulseaudio",
                                         "-n",
                                         "--daemonize=no",
                                         "--exit-idle-time=-1",
                                         "--realtime=no",
                                         "--high-priority=no",
                                         "--disable-shm=yes",
                                         "--log-level=0",
                                         "--load=module-native-protocol-unix socket=" + socket_,
                                         "--load=module-null-sink sink_name=out norewinds=1"};
        if (withMicrophone) {
            command.emplace_back("--load=module-remap-source source_name=mic master=out.monitor");
        }
        return std::make_unique<Process>(std::move(command));
    }

private:
    std::string before_;
    std::string socket_;
};

TEST_F(MicrophoneServerTest, SaysWhatIsMissingAndRecoversWhenTheServerReturns) {
    PulseMicrophone microphone(loop);
    const auto problemIs = [&](MicrophoneError::Kind kind) {
        return becomes(
            [&] {
                const auto problem = microphone.check();
                return problem && problem->kind == kind;
            },
            Millis{30'000});
    };
    EXPECT_TRUE(problemIs(MicrophoneError::Kind::failed));
    EXPECT_THAT(microphone.check()->description, testing::StartsWith("the sound server does not answer"));
    EXPECT_FALSE(microphone.start("", {}));
    EXPECT_THAT(microphone.devices(), IsEmpty());

    auto server = startServer(false);
    EXPECT_TRUE(problemIs(MicrophoneError::Kind::noDevice)) << "the loudspeaker's monitor is no microphone";
    server.reset();
    EXPECT_TRUE(problemIs(MicrophoneError::Kind::failed));

    server = startServer(true);
    ASSERT_TRUE(becomes([&] { return !microphone.check(); }, Millis{30'000}));
    Heard heard;
    auto recording = microphone.start("", heard.callbacks());
    ASSERT_TRUE(recording);
    ASSERT_TRUE(becomes([&] { return heard.count() > 1000; }));
    server->end(SIGKILL);
    EXPECT_TRUE(becomes([&] { return heard.ended; })) << "the server's death ends the recording";
    EXPECT_TRUE(problemIs(MicrophoneError::Kind::failed));
}

}  // namespace
}  // namespace tolvik
