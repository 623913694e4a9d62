#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include "base/main_loop.h"
#include "tests/fakes/fake_clock.h"

namespace tolvik {

/// A main loop in virtual time: nothing runs until `run…` is called, and waiting costs nothing. Moves the clock along.
class VirtualMainLoop final : public MainLoop {
public:
    explicit VirtualMainLoop(FakeClock& clock) : clock_(clock) {}

    void post(std::function<void()> call) override {
        const std::scoped_lock lock(mutex_);
        posted_.push_back(std::move(call));
    }

    [[nodiscard]] Timer after(Millis delay, std::function<void()> call) override {
        auto state = std::make_shared<Delayed>();
        state->call = std::move(call);
        timers_->emplace(elapsed_ + std::max(delay, Millis{0}), state);
        return Timer(std::make_unique<VirtualHandle>(state));
    }

    /// Runs what was posted, and what that posts, without moving time.
    void runPosted() {
        while (auto call = takePosted()) {
            call();
        }
    }

    /// Moves time forward, running each delayed call at its moment.
    void runFor(Millis duration) {
        const Millis until = elapsed_ + duration;
        runPosted();
        while (!timers_->empty() && timers_->begin()->first <= until) {
            const auto [due, state] = *timers_->begin();
            timers_->erase(timers_->begin());
            moveTo(due);
            if (state->call) {
                const auto call = std::exchange(state->call, nullptr);
                call();
            }
            runPosted();
        }
        moveTo(until);
    }

    /// How many delayed calls wait.
    [[nodiscard]] std::size_t pendingTimers() const {
        std::size_t count = 0;
        for (const auto& [due, state] : *timers_) {
            count += state->call ? 1U : 0U;
        }
        return count;
    }

private:
    struct Delayed {
        std::function<void()> call;
    };
    class VirtualHandle final : public Timer::Handle {
    public:
        explicit VirtualHandle(std::shared_ptr<Delayed> state) : state_(std::move(state)) {}
        ~VirtualHandle() override { state_->call = nullptr; }
        [[nodiscard]] bool isPending() const override { return static_cast<bool>(state_->call); }

    private:
        std::shared_ptr<Delayed> state_;
    };

    std::function<void()> takePosted() {
        const std::scoped_lock lock(mutex_);
        if (posted_.empty()) {
            return nullptr;
        }
        auto call = std::move(posted_.front());
        posted_.pop_front();
        return call;
    }

    void moveTo(Millis moment) {
        clock_.advance(moment - elapsed_);
        elapsed_ = moment;
    }

    FakeClock& clock_;
    Millis elapsed_{0};
    std::mutex mutex_;
    std::deque<std::function<void()>> posted_;
    std::shared_ptr<std::multimap<Millis, std::shared_ptr<Delayed>>> timers_ =
        std::make_shared<std::multimap<Millis, std::shared_ptr<Delayed>>>();
};

/// Runs each job at once on the calling thread.
class ImmediateWorkers final : public Workers {
public:
    void run(std::function<void()> job) override { job(); }
};

}  // namespace tolvik
