#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "server/api/message.h"

namespace tolvik::server {

/// Whose announcements an open stream carries.
struct StreamOwner {
    std::string userId;
    std::string deviceId;
};

/// What becomes of a request: an answer, or with an owner an event stream that stays open (the response is then not
/// sent).
struct Answer {
    Response response = {};
    std::optional<StreamOwner> stream = {};
};

/// Whoever answers what the network layer has read. Both calls come on a network thread and must not block.
class RequestHandler {
public:
    RequestHandler() = default;
    RequestHandler(const RequestHandler&) = delete;
    RequestHandler& operator=(const RequestHandler&) = delete;
    virtual ~RequestHandler() = default;

    /// The most bytes of body that this route reads; asked before any of them is read.
    [[nodiscard]] virtual std::size_t bodyLimit(std::string_view method, std::string_view path) const = 0;

    /// `reply` must be called once, from any thread, soon or later; it never blocks.
    virtual void handle(Request request, std::function<void(Answer)> reply) = 0;
};

}  // namespace tolvik::server
