// Measures, on the desktop that with-desktop.sh makes, the time from the chord to the first samples, with the real
// keyboard monitor and the real microphone:   with-desktop.sh -- first_samples [PRESSES]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/pulse/pulse_microphone.h"
#include "adapters/x11/xkb_chord_monitor.h"
#include "voice/capture/push_to_talk_hotkey.h"

using namespace tolvik;
using Clock_ = std::chrono::steady_clock;

int main(int argc, char** argv) {
    const int presses = argc > 1 ? std::atoi(argv[1]) : 50;
    AsioMainLoop loop;
    XkbChordMonitor monitor(loop);
    PulseMicrophone microphone(loop);
    const PushToTalkHotkey hotkey;

    std::mutex mutex;
    std::optional<Clock_::time_point> first;
    Clock_::time_point seen;
    std::unique_ptr<Microphone::Recording> recording;
    std::vector<double> fromChord;
    std::vector<double> drains;
    const auto onModifiers = [&](std::uint32_t held) {
        if (hotkey.isHeldBy(held) && !recording) {
            seen = Clock_::now();
            first.reset();
            auto started = microphone.start("", {.onSamples =
                                                     [&](std::span<const float>) {
                                                         const std::scoped_lock lock(mutex);
                                                         first = first.value_or(Clock_::now());
                                                     },
                                                 .onEnded = {}});
            if (started) {
                recording = std::move(*started);
            }
        }
    };
    if (!monitor.start({.onModifiers = onModifiers, .onOtherKey = {}}) || microphone.check()) {
        std::fprintf(stderr, "no chord or no microphone: %s\n", monitor.problem().c_str());
        return 1;
    }
    for (int i = 0; i < presses; ++i) {
        first.reset();
        std::ignore = std::system("xdotool keydown Control_L keydown Alt_L keydown Shift_L");
        const auto arrived = [&] {
            const std::scoped_lock lock(mutex);
            return first.has_value();
        };
        for (int k = 0; k < 400 && !arrived(); ++k) {
            loop.runUntil(arrived, Millis{5});
        }
        if (recording && first) {
            fromChord.push_back(std::chrono::duration<double, std::milli>(*first - seen).count());
            const auto before = Clock_::now();
            recording->drain();
            drains.push_back(std::chrono::duration<double, std::milli>(Clock_::now() - before).count());
        }
        if (!first) {
            std::printf("press %d: %s\n", i, recording ? "no samples within two seconds" : "the chord was not seen");
        }
        recording.reset();
        std::ignore = std::system("xdotool keyup Shift_L keyup Alt_L keyup Control_L");
        loop.runUntil([] { return false; }, Millis{50});
    }
    const auto print = [&](const char* what, std::vector<double>& values) {
        std::ranges::sort(values);
        if (values.empty()) {
            std::printf("%-26s nothing measured\n", what);
            return;
        }
        std::printf("%-26s n %zu of %d  median %.1f ms  p95 %.1f ms  most %.1f ms\n", what, values.size(), presses,
                    values[values.size() / 2], values[values.size() * 95 / 100], values.back());
    };
    print("chord to first samples", fromChord);
    print("drain at the release", drains);
    return fromChord.size() == static_cast<std::size_t>(presses) ? 0 : 1;
}
