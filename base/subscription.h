#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace tolvik {

/// Keeps a callback registered for as long as it lives. May outlive the signal. Main loop only.
class [[nodiscard]] Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::shared_ptr<void> slot) : slot_(std::move(slot)) {}

private:
    std::shared_ptr<void> slot_;
};

/// A list of callbacks. Main loop only. A callback may subscribe, unsubscribe or emit again.
template <class... Args>
class Signal {
public:
    using Callback = std::function<void(Args...)>;

    Subscription connect(Callback callback) {
        auto slot = std::make_shared<Callback>(std::move(callback));
        slots_.push_back(slot);
        return Subscription(std::move(slot));
    }

    /// True while anyone is subscribed.
    [[nodiscard]] bool isConnected() const {
        for (const auto& slot : slots_) {
            if (!slot.expired()) {
                return true;
            }
        }
        return false;
    }

    void emit(const Args&... args) {
        std::erase_if(slots_, [](const auto& slot) { return slot.expired(); });
        // A callback may connect another one, which the present emission does not reach.
        const std::size_t count = slots_.size();
        for (std::size_t i = 0; i < count && i < slots_.size(); ++i) {
            if (const auto slot = slots_[i].lock()) {
                (*slot)(args...);
            }
        }
    }

private:
    std::vector<std::weak_ptr<Callback>> slots_;
};

}  // namespace tolvik
