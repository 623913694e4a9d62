#include "server/net/peer_limits.h"

#include "server/net/trusted_proxies.h"

namespace tolvik::server {
namespace {

/// Whoever has one IPv6 address usually has its whole /64. Empty for what is no address.
std::string keyOf(const std::string& address) {
    const auto bits = parseAddress(address);
    if (!bits) {
        return {};
    }
    const bool four = address.find(':') == std::string::npos;
    const auto begin = reinterpret_cast<const char*>(bits->data());
    return four ? std::string(begin + 12, 4) : std::string(begin, 8);
}

}  // namespace

PeerLimits::Place::~Place() {
    if (limits_ != nullptr) {
        limits_->release(key_);
    }
}

PeerLimits::Place PeerLimits::take(const std::string& address, bool exempt) {
    auto key = exempt ? std::string() : keyOf(address);
    const std::lock_guard lock(mutex_);
    if (taken_ >= total_) {
        return {};
    }
    if (!key.empty()) {
        auto& count = byPeer_[key];
        if (count >= perPeer_) {
            return {};
        }
        ++count;
    }
    ++taken_;
    return {this, std::move(key)};
}

std::size_t PeerLimits::taken() const {
    const std::lock_guard lock(mutex_);
    return taken_;
}

void PeerLimits::release(const std::string& key) {
    const std::lock_guard lock(mutex_);
    --taken_;
    if (const auto found = byPeer_.find(key); found != byPeer_.end() && --found->second == 0) {
        byPeer_.erase(found);
    }
}

}  // namespace tolvik::server
