#include "adapters/postgres/notice_listener.h"

#include <array>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tolvik::server {
namespace {

constexpr int retryMs = 1000;
/// Finds a connection that died without a word.
constexpr int probeMs = 30'000;

std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> out;
    std::size_t begin = 0;
    for (std::size_t end = text.find(' '); end != std::string::npos; end = text.find(' ', begin)) {
        out.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    out.push_back(text.substr(begin));
    return out;
}

}  // namespace

NoticeListener::NoticeListener(const std::string& address, const std::string& instance)
    : connection_(address, instance), wake_(eventfd(0, EFD_CLOEXEC)), thread_([this] { listen(); }) {}

NoticeListener::~NoticeListener() {
    const std::uint64_t one = 1;
    static_cast<void>(write(wake_, &one, sizeof one));
    thread_.join();
    close(wake_);
}

void NoticeListener::onAnnouncement(std::function<void(const Announcement&)> told) {
    const std::scoped_lock lock(guard_);
    announced_ = std::move(told);
}

void NoticeListener::onEnded(std::function<void(const EndedSession&)> told) {
    const std::scoped_lock lock(guard_);
    ended_ = std::move(told);
}

void NoticeListener::onGap(std::function<void()> told) {
    const std::scoped_lock lock(guard_);
    gap_ = std::move(told);
    if (gap_ && listens_) {
        gap_();
    }
}

NoticeListener::Woken NoticeListener::waitFor(int socket, int milliseconds) {
    std::array<pollfd, 2> files{pollfd{wake_, POLLIN, 0}, pollfd{socket, POLLIN, 0}};
    const int ready = poll(files.data(), files.size(), milliseconds);
    if ((files[0].revents & POLLIN) != 0) {
        return Woken::toEnd;
    }
    return ready == 0 ? Woken::byTime : Woken::byData;
}

void NoticeListener::listen() {
    for (;;) {
        if (connection_.isLost()) {
            listensNow(false);
            if (connection_.connect() || !connection_.execute("LISTEN tolvik")) {
                static_cast<void>(connection_.takeProblem());
                if (waitFor(-1, retryMs) == Woken::toEnd) {
                    return;
                }
                continue;
            }
            listensNow(true);
        }
        // Before every wait: the reply to a query brings notices along, of which the socket then shows nothing.
        for (const std::string& payload : connection_.takeNotices()) {
            tell(payload);
        }
        if (connection_.isLost()) {
            continue;
        }
        const Woken woken = waitFor(connection_.socket(), probeMs);
        if (woken == Woken::toEnd) {
            return;
        }
        if (woken == Woken::byTime && !connection_.execute("SELECT 1")) {
            static_cast<void>(connection_.takeProblem());
        }
    }
}

void NoticeListener::listensNow(bool listens) {
    const std::scoped_lock lock(guard_);
    listens_ = listens;
    if (listens && gap_) {
        gap_();
    }
}

void NoticeListener::tell(const std::string& payload) {
    const auto parts = split(payload);
    constexpr std::size_t known = 4;
    if (parts.size() != known) {
        return;
    }
    const std::scoped_lock lock(guard_);
    if (parts[1] == "changed" && announced_) {
        announced_({parts[2], parts[3]});
    } else if (parts[1] == "ended" && ended_) {
        ended_({parts[2], parts[3]});
    }
}

}  // namespace tolvik::server
