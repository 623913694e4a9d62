#include "server/net/request_reader.h"

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/optional/optional.hpp>
#include <limits>

namespace tolvik::server {

namespace http = boost::beast::http;
using boost::beast::error_code;

namespace {

/// Bytes of the body's framing that may wait for their line's end.
constexpr std::size_t framingLimit = 4096;

std::string lowered(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

/// Only visible ASCII; what follows the path is the handlers' to decode.
bool isPlainTarget(std::string_view target) {
    return target.starts_with('/') && std::ranges::all_of(target, [](char c) { return c > ' ' && c < 0x7f; });
}

bool mayComeOnce(std::string_view name) {
    constexpr auto names =
        std::to_array<std::string_view>({"authorization", "content-encoding", "content-length", "content-type",
                                         "expect", "host", "transfer-encoding", "x-op-id", "x-tz", "x-tz-offset"});
    return std::ranges::find(names, name) != names.end();
}

}  // namespace

std::string_view fieldOf(const Request& request, std::string_view name) {
    const auto found = std::ranges::find(request.headers, name, &std::pair<std::string, std::string>::first);
    return found == request.headers.end() ? std::string_view() : found->second;
}

struct RequestReader::Impl {
    http::request_parser<http::string_body> parser;
    State state = State::head;
    Request request;
    int status = 0;
    std::string reason;
    bool expectsContinue = false;
    bool hasBody = false;
    bool chunked = false;
    std::size_t looked = 0;  ///< of the header, by `hasOddLines`
    std::size_t taken = 0;   ///< of the header, by the parser
    char last = 0;
    bool headEnded = false;
    boost::optional<std::uint64_t> length;

    void refuse(int code, std::string why) {
        state = State::refused;
        status = code;
        reason = std::move(why);
    }

    void refuse(const error_code& error) {
        if (error == http::error::header_limit) {
            refuse(431, "The request's header is too long.");
        } else if (error == http::error::body_limit) {
            refuse(413, "The request's body is too long.");
        } else if (error == http::error::bad_version) {
            refuse(505, "This server speaks HTTP/1.1.");
        } else {
            refuse(400, "The request is malformed.");
        }
    }

    /// Line ends that are not CR LF, and lines that go on on the next one: other readers take them for other things.
    /// `bytes` begins where the parser stands; what was looked at before is not looked at again.
    [[nodiscard]] bool hasOddLines(std::string_view bytes) {
        for (auto at = looked - taken; at < bytes.size() && !headEnded; ++at, ++looked) {
            const char next = bytes[at];
            if ((last == '\r') != (next == '\n') || (last == '\n' && (next == ' ' || next == '\t'))) {
                return true;
            }
            headEnded = last == '\n' && next == '\r';
            last = next;
        }
        return false;
    }

    void takeHead() {
        const auto& message = parser.get();
        const auto target = message.target();
        if (!isPlainTarget({target.data(), target.size()})) {
            return refuse(400, "The request's target must be a path.");
        }
        const auto method = message.method_string();
        request.method.assign(method.data(), method.size());
        const std::string_view whole(target.data(), target.size());
        const auto mark = whole.find('?');
        request.path = whole.substr(0, mark);
        request.query = mark == std::string_view::npos ? "" : whole.substr(mark + 1);
        for (const auto& field : message) {
            const auto name = field.name_string();
            const auto value = field.value();
            request.headers.emplace_back(lowered({name.data(), name.size()}), std::string(value.data(), value.size()));
        }
        chunked = parser.chunked();
        length = parser.content_length();
        hasBody = chunked || (length && *length > 0);
        checkFields(message.version());
        if (state != State::refused) {
            state = State::headed;
        }
    }

    void checkFields(unsigned version) {
        if (request.headers.size() > fieldLimit) {
            return refuse(431, "The request has too many header fields.");
        }
        std::vector<std::string_view> seen;
        for (const auto& [name, value] : request.headers) {
            if (!std::ranges::all_of(value, [](unsigned char c) { return c == '\t' || (c >= ' ' && c != 0x7f); })) {
                return refuse(400, "A header field holds a control character.");
            }
            if (mayComeOnce(name)) {
                if (std::ranges::find(seen, name) != seen.end()) {
                    return refuse(400, "The header field " + name + " came twice.");
                }
                seen.push_back(name);
            }
        }
        const bool hasHost = std::ranges::find(seen, "host") != seen.end();
        if (version >= 11 && !hasHost) {
            return refuse(400, "The request names no host.");
        }
        if (!std::ranges::all_of(fieldOf(request, "content-length"), [](char c) { return c >= '0' && c <= '9'; })) {
            return refuse(400, "The body's length is no number.");
        }
        const auto coding = fieldOf(request, "transfer-encoding");
        if (!coding.empty() && lowered(coding) != "chunked") {
            return refuse(501, "Of transfer codings only chunked is understood.");
        }
        // Older than the coding: an intermediary of that version would frame the body by other means.
        if (!coding.empty() && (version < 11 || length)) {
            return refuse(400, "The body's length is told in two ways.");
        }
        if (const auto content = lowered(fieldOf(request, "content-encoding"));
            !content.empty() && content != "identity") {
            return refuse(415, "Bodies must come without a content coding.");
        }
        if (const auto expect = fieldOf(request, "expect"); !expect.empty()) {
            if (lowered(expect) != "100-continue") {
                return refuse(417, "This expectation cannot be met.");
            }
            expectsContinue = version >= 11;
        }
    }
};

RequestReader::RequestReader() : impl_(std::make_unique<Impl>()) {
    impl_->parser.header_limit(static_cast<std::uint32_t>(headLimit));
    // What may come is told before the body is read; until then no length is too much.
    impl_->parser.body_limit(std::numeric_limits<std::uint64_t>::max());
    impl_->parser.eager(false);
}

RequestReader::~RequestReader() = default;

std::size_t RequestReader::feed(std::string_view bytes) {
    std::size_t used = 0;
    while (impl_->state == State::head || impl_->state == State::body) {
        error_code error;
        const auto rest = bytes.substr(used);
        if (rest.empty()) {
            return used;
        }
        if (impl_->state == State::head && impl_->hasOddLines(rest)) {
            impl_->refuse(400, "The request's lines are malformed.");
            return used;
        }
        const std::size_t took = impl_->parser.put(boost::asio::const_buffer(rest.data(), rest.size()), error);
        used += took;
        impl_->taken += took;
        if (error == http::error::need_more) {
            if (impl_->state == State::body && bytes.size() - used > framingLimit) {
                impl_->refuse(400, "The body's framing is malformed.");
            }
            return used;
        }
        if (error) {
            impl_->refuse(error);
        } else if (impl_->state == State::head && impl_->parser.is_header_done()) {
            impl_->takeHead();
        } else if (impl_->state == State::body && impl_->parser.is_done()) {
            impl_->request.body = std::move(impl_->parser.get().body());
            impl_->state = State::done;
        } else if (took == 0) {
            return used;
        }
    }
    return used;
}

void RequestReader::readBody(std::size_t limit) {
    if (impl_->state != State::headed) {
        return;
    }
    if (impl_->length && *impl_->length > limit) {
        return impl_->refuse(413, "The request's body is too long.");
    }
    if (!impl_->hasBody) {
        impl_->state = State::done;
        return;
    }
    impl_->parser.body_limit(limit);
    impl_->parser.eager(true);
    impl_->state = State::body;
}

RequestReader::State RequestReader::state() const {
    return impl_->state;
}
int RequestReader::status() const {
    return impl_->status;
}
const std::string& RequestReader::reason() const {
    return impl_->reason;
}
Request& RequestReader::request() {
    return impl_->request;
}
bool RequestReader::expectsContinue() const {
    return impl_->expectsContinue;
}
bool RequestReader::hasBody() const {
    return impl_->hasBody;
}
bool RequestReader::keepAlive() const {
    return impl_->state == State::done && impl_->parser.keep_alive();
}
std::size_t RequestReader::bodySize() const {
    return impl_->state == State::body ? impl_->parser.get().body().size() : impl_->request.body.size();
}

}  // namespace tolvik::server
