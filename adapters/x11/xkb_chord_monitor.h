#pragma once

#include <memory>
#include <string>

#include "base/main_loop.h"
#include "voice/capture/chord_monitor.h"

namespace tolvik {

/// Modifier keys of an X11 session, by the keyboard extension's state changes: they come whichever window has the
/// focus and also under another client's grab. Other keys are asked for only while a modifier is down, so what a
/// person types is not seen here. A thread waits for the server; when the server goes, everything counts as released
/// and `problem()` says so.
class XkbChordMonitor final : public ChordMonitor {
public:
    /// `loop` outlives the monitor. `display` as in DISPLAY; empty reads the environment.
    explicit XkbChordMonitor(MainLoop& loop, std::string display = {});
    ~XkbChordMonitor() override;

    [[nodiscard]] bool start(Callbacks callbacks) override;
    void stop() override;
    [[nodiscard]] std::string problem() const override;
    /// A round trip to the server, some 0.1 ms. 0 unless started.
    [[nodiscard]] std::uint32_t heldNow() const override;

private:
    struct Watch;
    MainLoop& loop_;
    std::string display_;
    std::string startProblem_;
    std::shared_ptr<Watch> watch_;
};

}  // namespace tolvik
