#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/time.h"

namespace tolvik::server {

/// One request, after the network layer has bounded its size and time. Header names in lower case.
struct Request {
    std::string method;
    /// Without the query.
    std::string path;
    /// As sent, without the question mark; empty when there is none.
    std::string query;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    /// The peer's address (the forwarded one behind a trusted proxy), for rate limits; never stored.
    std::string peer;

    /// The first value; empty when absent.
    [[nodiscard]] std::string_view header(std::string_view name) const;
};

struct Response {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers = {};
    /// JSON unless a header says otherwise.
    std::string body = {};
};

/// A user's data changed: every open stream of the user but the sending device's gets one announcement.
struct Announcement {
    std::string userId;
    /// The device (session) that made the change; its own stream hears nothing.
    std::string deviceId;
};

/// What a handler gives back: the answer, and whom to tell once the transaction is durable.
struct Outcome {
    Response response;
    std::vector<Announcement> announcements = {};
};

}  // namespace tolvik::server
