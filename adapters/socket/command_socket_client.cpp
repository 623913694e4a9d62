#include "adapters/socket/command_socket_client.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>

#include "adapters/socket/frame.h"
#include "adapters/socket/socket_file.h"

namespace tolvik {
namespace {

using Moment = std::chrono::steady_clock::time_point;

/// False when the time is over.
bool waitFor(int socket, short events, Moment end) {
    while (true) {
        const auto left = std::chrono::duration_cast<Millis>(end - std::chrono::steady_clock::now()).count();
        pollfd waiting{socket, events, 0};
        const int ready = ::poll(&waiting, 1, left < 0 ? 0 : static_cast<int>(left));
        if (ready > 0) {
            return true;
        }
        if (ready == 0 || errno != EINTR) {
            return false;
        }
    }
}

bool sendAll(int socket, std::string_view bytes, Moment end) {
    while (!bytes.empty()) {
        const auto sent = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno == EAGAIN) {
            if (!waitFor(socket, POLLOUT, end)) {
                return false;
            }
        } else if (errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

Result<std::string, CallError> callCommandSocket(const std::filesystem::path& path, std::string_view request,
                                                 const CallLimits& limits) {
    const auto end = std::chrono::steady_clock::now() + limits.patience;
    const auto file = socketFileAt(path);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!file || !socket) {
        return failure(CallError::nobody);
    }
    if (::connect(socket.get(), file->get(), sizeof file->address) != 0) {
        return failure(errno == EAGAIN ? CallError::busy : CallError::nobody);
    }
    if (!isOwnPeer(socket.get())) {
        return failure(CallError::stranger);
    }
    std::string message = frameHead(static_cast<std::uint32_t>(request.size()));
    message += request;
    // The server begins only what has arrived whole. It may have answered all the same, to say that it is going.
    const bool sent = sendAll(socket.get(), message, end);
    FrameReader reader(limits.answerBytes);
    std::array<char, std::size_t{64} << 10U> buffer{};
    while (true) {
        const auto got = ::recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (got > 0) {
            switch (reader.take({buffer.data(), static_cast<std::size_t>(got)})) {
                case FrameReader::State::complete:
                    return std::move(reader.message());
                case FrameReader::State::notDone:
                    return failure(CallError::nobody);
                case FrameReader::State::tooLarge:
                    return failure(CallError::tooLarge);
                case FrameReader::State::reading:
                    break;
            }
        } else if (got < 0 && errno == EAGAIN && sent) {
            if (!waitFor(socket.get(), POLLIN, end)) {
                return failure(CallError::unanswered);
            }
        } else if (got < 0 && errno == ECONNRESET) {
            // So ends a connection whose request was never read to its end: nothing has begun.
            return failure(CallError::nobody);
        } else if (got == 0 || errno != EINTR) {
            return failure(sent ? CallError::unanswered : CallError::nobody);
        }
    }
}

}  // namespace tolvik
