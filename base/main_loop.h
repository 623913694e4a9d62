#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "base/time.h"

namespace tolvik {

/// A delayed call that has not happened yet. Destroying it, or assigning another, cancels the call. Main loop only.
class Timer {
public:
    /// What an implementation of MainLoop keeps behind a timer; its destructor cancels the call.
    class Handle {
    public:
        Handle() = default;
        Handle(const Handle&) = delete;
        Handle& operator=(const Handle&) = delete;
        virtual ~Handle() = default;
        [[nodiscard]] virtual bool isPending() const = 0;
    };

    Timer() = default;
    explicit Timer(std::unique_ptr<Handle> handle) : handle_(std::move(handle)) {}

    /// True until the call has begun or was cancelled.
    [[nodiscard]] bool isPending() const { return handle_ && handle_->isPending(); }
    void cancel() { handle_.reset(); }

private:
    std::unique_ptr<Handle> handle_;
};

/// The one thread on which all model state lives. One loop a process, never nested.
class MainLoop {
public:
    MainLoop() = default;
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;
    virtual ~MainLoop() = default;

    /// Runs `call` on the loop, after what was posted before it. Any thread. Calls that are still queued when the loop
    /// is destroyed are dropped.
    virtual void post(std::function<void()> call) = 0;

    /// Runs `call` on the loop once `delay` has passed (monotonic time), unless the timer is cancelled. Main loop only.
    [[nodiscard]] virtual Timer after(Millis delay, std::function<void()> call) = 0;
};

/// Threads for blocking or long work.
class Workers {
public:
    Workers() = default;
    Workers(const Workers&) = delete;
    Workers& operator=(const Workers&) = delete;
    virtual ~Workers() = default;

    /// Runs `job` on some worker. Any thread. The job posts its result to the main loop itself. Jobs that have begun
    /// are waited for when the workers are destroyed.
    virtual void run(std::function<void()> job) = 0;
};

}  // namespace tolvik
