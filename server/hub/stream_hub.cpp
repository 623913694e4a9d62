#include "server/hub/stream_hub.h"

#include <algorithm>

namespace tolvik::server {
namespace {

/// Without the hub's lock: a subscriber may come back to it. Those that are gone are null.
void callEach(const std::vector<std::shared_ptr<Subscriber>>& subscribers, void (Subscriber::*call)()) {
    for (const auto& one : subscribers) {
        if (one) {
            (one.get()->*call)();
        }
    }
}

}  // namespace

StreamHub::Refusal StreamHub::add(const std::string& userId, const std::string& deviceId,
                                  const std::shared_ptr<Subscriber>& subscriber) {
    std::shared_ptr<Subscriber> replaced;
    {
        const std::lock_guard lock(mutex_);
        auto& open = users_[userId];
        const auto ofDevice = [&](const Open& one) { return one.deviceId == deviceId; };
        if (static_cast<std::size_t>(std::ranges::count_if(open, ofDevice)) >= limits_.perDevice) {
            const auto oldest = std::ranges::find_if(open, ofDevice);
            replaced = oldest->subscriber.lock();
            open.erase(oldest);
            --count_;
        } else if (open.size() >= limits_.perUser) {
            return Refusal::tooManyOfUser;
        } else if (count_ >= limits_.total) {
            if (open.empty()) {
                users_.erase(userId);
            }
            return Refusal::tooManyInAll;
        }
        open.push_back({deviceId, subscriber, subscriber.get()});
        ++count_;
    }
    if (replaced) {
        replaced->end();
    }
    return Refusal::none;
}

void StreamHub::remove(const std::string& userId, const Subscriber* subscriber) {
    const std::lock_guard lock(mutex_);
    const auto user = users_.find(userId);
    if (user == users_.end()) {
        return;
    }
    count_ -= std::erase_if(user->second, [&](const Open& one) { return one.key == subscriber; });
    if (user->second.empty()) {
        users_.erase(user);
    }
}

void StreamHub::announce(const Announcement& announcement) {
    std::vector<std::shared_ptr<Subscriber>> told;
    {
        const std::lock_guard lock(mutex_);
        const auto user = users_.find(announcement.userId);
        if (user == users_.end()) {
            return;
        }
        for (const auto& one : user->second) {
            if (one.deviceId != announcement.deviceId) {
                told.push_back(one.subscriber.lock());
            }
        }
    }
    callEach(told, &Subscriber::announce);
}

void StreamHub::announceToAll() {
    std::vector<std::shared_ptr<Subscriber>> told;
    {
        const std::lock_guard lock(mutex_);
        told.reserve(count_);
        for (const auto& [user, open] : users_) {
            for (const auto& one : open) {
                told.push_back(one.subscriber.lock());
            }
        }
    }
    callEach(told, &Subscriber::announce);
}

void StreamHub::endStreams(const std::string& userId, const std::string& deviceId) {
    std::vector<std::shared_ptr<Subscriber>> ended;
    {
        const std::lock_guard lock(mutex_);
        const auto user = users_.find(userId);
        if (user == users_.end()) {
            return;
        }
        for (const auto& one : user->second) {
            if (deviceId.empty() || one.deviceId == deviceId) {
                ended.push_back(one.subscriber.lock());
            }
        }
    }
    callEach(ended, &Subscriber::end);
}

std::size_t StreamHub::count() const {
    const std::lock_guard lock(mutex_);
    return count_;
}

}  // namespace tolvik::server
