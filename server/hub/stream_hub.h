#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "server/api/message.h"

namespace tolvik::server {

/// An open event stream, as the hub sees it. Both calls may come on any thread and never block.
class Subscriber {
public:
    Subscriber() = default;
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;
    virtual ~Subscriber() = default;

    /// Something of the user's changed. Several announcements before the client reads may become one.
    virtual void announce() = 0;
    /// The stream has to close.
    virtual void end() = 0;
};

/// Knows the open streams of every user and passes announcements to them. Any thread.
class StreamHub {
public:
    struct Limits {
        std::size_t total = 20'000;
        std::size_t perUser = 32;
        /// A device that reconnects before its dead stream was noticed takes that stream's place.
        std::size_t perDevice = 2;
    };
    explicit StreamHub(Limits limits) : limits_(limits) {}

    /// Why a stream may not be opened.
    enum class Refusal : std::uint8_t { none, tooManyOfUser, tooManyInAll };
    [[nodiscard]] Refusal add(const std::string& userId, const std::string& deviceId,
                              const std::shared_ptr<Subscriber>& subscriber);
    void remove(const std::string& userId, const Subscriber* subscriber);

    /// To every stream of the user but the device's own.
    void announce(const Announcement& announcement);
    /// To every stream of all users: something may have changed that nobody told of.
    void announceToAll();
    /// Ends the streams of a device that signed out; an empty device means all of the user's.
    void endStreams(const std::string& userId, const std::string& deviceId);

    [[nodiscard]] std::size_t count() const;

private:
    struct Open {
        std::string deviceId;
        std::weak_ptr<Subscriber> subscriber;
        const Subscriber* key;
    };

    const Limits limits_;
    mutable std::mutex mutex_;
    std::unordered_map<std::string, std::vector<Open>> users_;
    std::size_t count_ = 0;
};

}  // namespace tolvik::server
