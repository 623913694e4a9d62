#pragma once

#include <functional>
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

    bool operator==(const Announcement&) const = default;
};

/// Sessions that are over: their open streams must be closed.
struct EndedSession {
    std::string userId;
    /// Empty stands for all of the user's devices.
    std::string deviceId;

    bool operator==(const EndedSession&) const = default;
};

/// A sign-in code on its way to its owner.
struct CodeMail {
    std::string address;
    /// Six digits.
    std::string code;
};

/// What a handler gives back: the answer, and what to do once the transaction is durable. Nothing of it may be done
/// before, or when the transaction failed.
struct Outcome {
    Response response;
    std::vector<Announcement> announcements = {};
    std::vector<EndedSession> ended = {};
    std::vector<CodeMail> mails = {};
    /// Set for slow work (transcription, a language model) that may be done for this caller: `response` is empty then,
    /// and this gives it, called once, outside of any transaction, on a thread that may block for its time.
    std::function<Response(const Request&)> slow = nullptr;
};

}  // namespace tolvik::server
