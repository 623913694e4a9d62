#include "server/net/response_text.h"

#include <algorithm>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tolvik::server {
namespace {

std::string_view phrase(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 201:
            return "Created";
        case 204:
            return "No Content";
        case 304:
            return "Not Modified";
        case 400:
            return "Bad Request";
        case 401:
            return "Unauthorized";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 413:
            return "Content Too Large";
        case 415:
            return "Unsupported Media Type";
        case 417:
            return "Expectation Failed";
        case 422:
            return "Unprocessable Content";
        case 429:
            return "Too Many Requests";
        case 431:
            return "Request Header Fields Too Large";
        case 500:
            return "Internal Server Error";
        case 501:
            return "Not Implemented";
        case 503:
            return "Service Unavailable";
        case 504:
            return "Gateway Timeout";
        case 505:
            return "HTTP Version Not Supported";
        default:
            return "Status";
    }
}

bool isSafe(std::string_view text) {
    return std::ranges::all_of(text, [](unsigned char c) { return c >= ' ' && c != 0x7f; });
}

/// RFC 9110's date, made once a second.
std::string_view dateNow() {
    thread_local std::time_t made = -1;
    thread_local std::string text;
    if (const std::time_t now = std::time(nullptr); now != made) {
        made = now;
        text = fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(now));
    }
    return text;
}

}  // namespace

std::string responseText(const Response& response, bool withBody, bool keepAlive) {
    std::string out;
    out.reserve(256 + (withBody ? response.body.size() : 0));
    fmt::format_to(std::back_inserter(out), "HTTP/1.1 {} {}\r\ndate: {}\r\n", response.status, phrase(response.status),
                   dateNow());
    bool typed = false;
    bool cached = false;
    for (const auto& [name, value] : response.headers) {
        if (isSafe(name) && isSafe(value)) {
            typed = typed || name == "content-type";
            cached = cached || name == "cache-control";
            fmt::format_to(std::back_inserter(out), "{}: {}\r\n", name, value);
        }
    }
    const bool hasContent = response.status != 204 && response.status != 304;
    if (hasContent) {
        if (!typed) {
            out += "content-type: application/json\r\n";
        }
        fmt::format_to(std::back_inserter(out), "content-length: {}\r\n", response.body.size());
    }
    if (!cached) {
        out += "cache-control: no-store\r\n";
    }
    out += keepAlive ? "x-content-type-options: nosniff\r\n\r\n"
                     : "x-content-type-options: nosniff\r\nconnection: close\r\n\r\n";
    if (withBody && hasContent) {
        out += response.body;
    }
    return out;
}

std::string eventStreamStart() {
    return fmt::format(
        "HTTP/1.1 200 OK\r\ndate: {}\r\ncontent-type: text/event-stream\r\ncache-control: no-store\r\n"
        "x-accel-buffering: no\r\nx-content-type-options: nosniff\r\nconnection: close\r\n\r\n:ok\n\n",
        dateNow());
}

Response refusal(int status, std::string_view text) {
    return {status, {}, nlohmann::json{{"error", text}}.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace)};
}

}  // namespace tolvik::server
