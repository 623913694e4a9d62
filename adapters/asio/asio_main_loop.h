#pragma once

#include <functional>
#include <memory>

#include "base/main_loop.h"

namespace tolvik {

/// The main loop of the processes without Qt, on the thread that calls `run…`. An exception that leaves a call is
/// logged and the loop goes on. A timer may outlive the loop.
class AsioMainLoop final : public MainLoop {
public:
    AsioMainLoop();
    ~AsioMainLoop() override;

    void post(std::function<void()> call) override;
    [[nodiscard]] Timer after(Millis delay, std::function<void()> call) override;

    /// Runs calls until `quit`.
    void run();
    /// Runs calls until the condition holds, looked at between calls, or the time has passed; whether it held.
    bool runUntil(const std::function<bool()>& condition, Millis atMost);
    /// Runs what is due now.
    void runPosted();
    /// Ends `run` after the present call. Any thread.
    void quit();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
