#include "app/desktop/termination.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tolvik {

namespace {

// A handler may only touch what is safe in the middle of anything.
std::atomic<int> writeEnd{-1};

extern "C" void onSignal(int) {
    const int saved = errno;
    const char byte = 1;
    static_cast<void>(!write(writeEnd.load(), &byte, 1));
    errno = saved;
}

constexpr std::array signalsToCatch{SIGTERM, SIGINT, SIGHUP};

}  // namespace

Termination::Termination(std::function<void()> asked) {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        return;
    }
    read_ = ends[0];
    writeEnd = ends[1];
    notifier_ = std::make_unique<QSocketNotifier>(read_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, [this, asked = std::move(asked)] {
        std::array<char, 16> bytes{};
        static_cast<void>(!read(read_, bytes.data(), bytes.size()));
        asked();
    });
    struct sigaction action{};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART;
    for (const int number : signalsToCatch) {
        sigaction(number, &action, nullptr);
    }
}

Termination::~Termination() {
    for (const int number : signalsToCatch) {
        std::signal(number, SIG_DFL);
    }
    notifier_.reset();
    if (read_ >= 0) {
        close(read_);
        close(writeEnd.exchange(-1));
    }
}

}  // namespace tolvik
