#include "server/speech/frames.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <unistd.h>

namespace tolvik::server {
namespace {

bool waitFor(int descriptor, short event, FrameDeadline deadline) {
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - FrameDeadline::clock::now());
        pollfd one{descriptor, event, 0};
        const int found = ::poll(&one, 1, static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 1'000'000)));
        if (found > 0) {
            return true;
        }
        if (found == 0 || errno != EINTR) {
            return false;
        }
    }
}

bool readExactly(int descriptor, char* into, std::size_t size, FrameDeadline deadline) {
    while (size > 0) {
        if (!waitFor(descriptor, POLLIN, deadline)) {
            return false;
        }
        const auto got = ::read(descriptor, into, size);
        if (got == 0 || (got < 0 && errno != EINTR && errno != EAGAIN)) {
            return false;
        }
        into += std::max<ssize_t>(0, got);
        size -= static_cast<std::size_t>(std::max<ssize_t>(0, got));
    }
    return true;
}

}  // namespace

bool writeFrame(int descriptor, std::string_view bytes, FrameDeadline deadline) {
    std::string all;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        all += static_cast<char>(bytes.size() >> shift & 0xff);
    }
    all += bytes;
    for (std::string_view rest = all; !rest.empty();) {
        if (!waitFor(descriptor, POLLOUT, deadline)) {
            return false;
        }
        // At most what a pipe takes at once, so that a reader that has stopped cannot hold the writer.
        const auto written = ::write(descriptor, rest.data(), std::min<std::size_t>(rest.size(), 4'096));
        if (written < 0 && errno != EINTR && errno != EAGAIN) {
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(0, written)));
    }
    return true;
}

std::optional<std::string> readFrame(int descriptor, FrameDeadline deadline) {
    std::array<unsigned char, 4> head{};
    if (!readExactly(descriptor, reinterpret_cast<char*>(head.data()), head.size(), deadline)) {
        return std::nullopt;
    }
    std::size_t size = 0;
    for (std::size_t at = head.size(); at-- > 0;) {
        size = size << 8 | head[at];
    }
    if (size > longestFrame) {
        return std::nullopt;
    }
    std::string bytes(size, '\0');
    if (!readExactly(descriptor, bytes.data(), size, deadline)) {
        return std::nullopt;
    }
    return bytes;
}

}  // namespace tolvik::server
