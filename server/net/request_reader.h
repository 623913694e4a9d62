#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "server/api/message.h"

namespace tolvik::server {

/// The first value of a header field, by its name in lower case; empty when absent.
[[nodiscard]] std::string_view fieldOf(const Request& request, std::string_view name);

/// Reads one HTTP/1.x request from bytes as they come, in bounded memory, and refuses whatever two readers could
/// understand differently. No sockets, no time; one thread.
class RequestReader {
public:
    /// Request line and header fields together, in bytes.
    static constexpr std::size_t headLimit = 16'384;
    /// Header fields of one request.
    static constexpr std::size_t fieldLimit = 64;

    enum class State : std::uint8_t {
        head,    ///< more bytes are needed before the header is whole
        headed,  ///< the header is whole: call `readBody` before feeding on
        body,
        done,
        refused,  ///< see `status` and `reason`; no further byte may be read
    };

    RequestReader();
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;
    ~RequestReader();

    /// Takes what it can of `bytes` and returns how many that were; the rest must be fed again, with more behind it.
    [[nodiscard]] std::size_t feed(std::string_view bytes);
    /// Goes on after `headed`; a body that is longer than this, or says so, is refused with 413.
    void readBody(std::size_t limit);

    [[nodiscard]] State state() const;
    /// What a refused request is answered with: 400, 413, 415, 417, 431, 501 or 505, and words for people.
    [[nodiscard]] int status() const;
    [[nodiscard]] const std::string& reason() const;

    /// From `headed` on. Header names in lower case; trailers are not among them. The body is there when done.
    [[nodiscard]] Request& request();
    /// The client asks to be told before it sends the body.
    [[nodiscard]] bool expectsContinue() const;
    [[nodiscard]] bool hasBody() const;
    [[nodiscard]] bool keepAlive() const;
    /// How many bytes of body are held.
    [[nodiscard]] std::size_t bodySize() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
