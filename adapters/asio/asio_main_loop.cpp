#include "adapters/asio/asio_main_loop.h"

#include <algorithm>
#include <atomic>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <exception>
#include <optional>
#include <spdlog/spdlog.h>
#include <unordered_set>
#include <utility>

namespace tolvik {

namespace asio = boost::asio;

namespace {

void runGuarded(const std::function<void()>& call) {
    try {
        call();
    } catch (const std::exception& error) {
        spdlog::error("a call on the main loop failed: {}", error.what());
    } catch (...) {
        spdlog::error("a call on the main loop failed without saying why");
    }
}

/// One delayed call, shared by the loop, the wait and the handle. Without its timer it is over.
struct Delayed {
    std::function<void()> call;
    std::optional<asio::steady_timer> timer;
};

using DelayedCalls = std::unordered_set<std::shared_ptr<Delayed>>;

class AsioTimerHandle final : public Timer::Handle {
public:
    AsioTimerHandle(std::shared_ptr<Delayed> delayed, std::weak_ptr<DelayedCalls> all)
        : delayed_(std::move(delayed)), all_(std::move(all)) {}
    ~AsioTimerHandle() override {
        const auto call = std::exchange(delayed_->call, nullptr);
        delayed_->timer.reset();
        if (const auto all = all_.lock()) {
            all->erase(delayed_);
        }
    }
    [[nodiscard]] bool isPending() const override { return static_cast<bool>(delayed_->call); }

private:
    std::shared_ptr<Delayed> delayed_;
    std::weak_ptr<DelayedCalls> all_;
};

}  // namespace

struct AsioMainLoop::Impl {
    // A handle may outlive the loop, and a timer must not outlive its context: the loop ends every one of them.
    ~Impl() {
        for (const auto& delayed : std::exchange(*delayedCalls, {})) {
            delayed->timer.reset();
            delayed->call = nullptr;
        }
    }

    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    std::shared_ptr<DelayedCalls> delayedCalls = std::make_shared<DelayedCalls>();
    std::atomic<bool> quitting = false;
};

AsioMainLoop::AsioMainLoop() : impl_(std::make_unique<Impl>()) {}
AsioMainLoop::~AsioMainLoop() = default;

void AsioMainLoop::post(std::function<void()> call) {
    asio::post(impl_->context, [call = std::move(call)] { runGuarded(call); });
}

Timer AsioMainLoop::after(Millis delay, std::function<void()> call) {
    auto delayed = std::make_shared<Delayed>();
    delayed->call = std::move(call);
    delayed->timer.emplace(impl_->context, std::max(delay, Millis{0}));
    impl_->delayedCalls->insert(delayed);
    std::weak_ptr<DelayedCalls> all = impl_->delayedCalls;
    delayed->timer->async_wait([delayed, all](const boost::system::error_code&) {
        if (const auto calls = all.lock()) {
            calls->erase(delayed);
        }
        // The call may destroy its own handle; one that was cancelled after it came due is gone by now.
        if (const auto running = std::exchange(delayed->call, nullptr)) {
            runGuarded(running);
        }
    });
    return Timer(std::make_unique<AsioTimerHandle>(std::move(delayed), std::move(all)));
}

void AsioMainLoop::run() {
    impl_->quitting = false;
    while (!impl_->quitting) {
        impl_->context.run_one();
    }
}

bool AsioMainLoop::runUntil(const std::function<bool()>& condition, Millis atMost) {
    const auto end = std::chrono::steady_clock::now() + atMost;
    while (!condition()) {
        if (impl_->context.run_one_until(end) == 0) {
            return condition();
        }
    }
    return true;
}

void AsioMainLoop::runPosted() {
    impl_->context.poll();
}

void AsioMainLoop::quit() {
    asio::post(impl_->context, [impl = impl_.get()] { impl->quitting = true; });
}

}  // namespace tolvik
