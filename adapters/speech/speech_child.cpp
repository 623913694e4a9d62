#include "adapters/speech/speech_child.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tolvik {
namespace {

/// Sound that nobody fetches: ten minutes of it mean that the process hangs, and then memory counts more.
constexpr std::size_t mostQueued = std::size_t{256} << 20;

Result<pid_t, std::string> spawn(const SpeechPlaces& places, std::chrono::seconds idle, int socket) {
    std::vector<std::string> texts = {places.program.string(),     "--serve",        "--model",
                                      places.modelFolder.string(), "--idle-seconds", std::to_string(idle.count())};
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, socket, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (std::getenv("TOLVIK_SPEECH_LOG") == nullptr) {
        posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigfillset(&defaults);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t process = -1;
    const int error = posix_spawn(&process, places.program.c_str(), &files, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        return failure("The speech program cannot be started: " + std::string(std::strerror(error)));
    }
    return process;
}

}  // namespace

Result<std::unique_ptr<SpeechChild>, std::string> SpeechChild::start(const SpeechPlaces& places,
                                                                     std::chrono::seconds idle, Events events) {
    std::array<int, 2> sockets{};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) != 0) {
        return failure("No socket for the speech program: " + std::string(std::strerror(errno)));
    }
    const int wake = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    const auto process = wake < 0 ? Result<pid_t, std::string>(failure(std::string("No event for the speech program")))
                                  : spawn(places, idle, sockets[1]);
    close(sockets[1]);
    if (!process) {
        close(sockets[0]);
        if (wake >= 0) {
            close(wake);
        }
        return failure(process.error());
    }
    fcntl(sockets[0], F_SETFL, O_NONBLOCK);
    return std::unique_ptr<SpeechChild>(new SpeechChild(*process, sockets[0], wake, std::move(events)));
}

SpeechChild::SpeechChild(pid_t process, int socket, int wake, Events events)
    : process_(process), socket_(socket), wake_(wake), events_(std::move(events)), thread_([this] { talk(); }) {}

void SpeechChild::stop() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake();
}

void SpeechChild::wake() {
    const std::uint64_t one = 1;
    if (write(wake_, &one, sizeof one) < 0) {
        return;  // the counter is full, so the thread is awake
    }
}

SpeechChild::~SpeechChild() {
    stop();
    thread_.join();
    close(socket_);
    close(wake_);
}

void SpeechChild::send(const std::string& bytes) {
    {
        const std::lock_guard lock(mutex_);
        if (ended_ || queued_.size() + bytes.size() > mostQueued) {
            return;
        }
        queued_ += bytes;
    }
    wake();
}

/// False when the process does not listen any more.
bool SpeechChild::writeSome() {
    while (true) {
        if (written_ == writing_.size()) {
            const std::lock_guard lock(mutex_);
            writing_.clear();
            written_ = 0;
            writing_.swap(queued_);
            if (writing_.empty()) {
                return true;
            }
        }
        const ssize_t sent = ::send(socket_, writing_.data() + written_, writing_.size() - written_, MSG_NOSIGNAL);
        if (sent < 0) {
            return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
        }
        written_ += static_cast<std::size_t>(sent);
    }
}

void SpeechChild::talk() {
    SpeechMessageReader reader;
    std::array<char, 16384> bytes{};
    bool alive = true;
    bool told = false;
    while (alive) {
        {
            const std::lock_guard lock(mutex_);
            if (stopping_) {
                told = true;  // nobody wants to hear of an end that they asked for
                break;
            }
        }
        alive = writeSome();
        std::array<pollfd, 2> ready{{{socket_, POLLIN, 0}, {wake_, POLLIN, 0}}};
        if (written_ < writing_.size()) {
            ready[0].events |= POLLOUT;
        }
        if (!alive || (poll(ready.data(), ready.size(), -1) < 0 && errno != EINTR)) {
            break;
        }
        if ((ready[1].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            if (read(wake_, &count, sizeof count) < 0) {
                continue;
            }
        }
        if ((ready[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
            continue;
        }
        const ssize_t got = recv(socket_, bytes.data(), bytes.size(), 0);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR)) {
            break;
        }
        reader.append({bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0});
        while (alive) {
            auto message = reader.next();
            alive = message.has_value();
            if (!message || !*message) {
                break;
            }
            events_.onMessage(std::move(**message));
        }
    }
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
        queued_.clear();
    }
    kill(process_, SIGKILL);
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    if (!told) {
        events_.onEnd();
    }
}

}  // namespace tolvik
