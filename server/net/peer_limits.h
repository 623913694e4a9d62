#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

namespace tolvik::server {

/// How many connections there may be, in all and of one address (of one /64 network with IPv6). Any thread.
class PeerLimits {
public:
    /// Holds a place until it is destroyed. Must not outlive the limits.
    class Place {
    public:
        Place() = default;
        Place(PeerLimits* limits, std::string key) : limits_(limits), key_(std::move(key)) {}
        Place(Place&& other) noexcept : limits_(std::exchange(other.limits_, nullptr)), key_(std::move(other.key_)) {}
        Place& operator=(Place&& other) noexcept {
            std::swap(limits_, other.limits_);
            std::swap(key_, other.key_);
            return *this;
        }
        ~Place();
        [[nodiscard]] explicit operator bool() const { return limits_ != nullptr; }

    private:
        PeerLimits* limits_ = nullptr;
        std::string key_;
    };

    PeerLimits(std::size_t total, std::size_t perPeer) : total_(total), perPeer_(perPeer) {}

    /// An empty place when the limit is reached. An exempt peer (a proxy) counts towards the total alone.
    [[nodiscard]] Place take(const std::string& address, bool exempt);
    [[nodiscard]] std::size_t taken() const;

private:
    void release(const std::string& key);

    const std::size_t total_;
    const std::size_t perPeer_;
    mutable std::mutex mutex_;
    std::size_t taken_ = 0;
    std::unordered_map<std::string, std::size_t> byPeer_;
};

}  // namespace tolvik::server
