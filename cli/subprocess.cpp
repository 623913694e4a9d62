#include "cli/subprocess.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "adapters/socket/socket_file.h"

namespace tolvik {
namespace {

struct Pipe {
    FileDescriptor read;
    FileDescriptor write;
};

Pipe makePipe() {
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Feeds and drains in turns, so that neither side waits for the other for ever.
std::string exchange(FileDescriptor to, const FileDescriptor& from, std::string_view input) {
    std::string output;
    std::array<char, 4096> part{};
    ::fcntl(to.get(), F_SETFL, O_NONBLOCK);
    while (true) {
        if (input.empty()) {
            to = FileDescriptor();
        }
        std::array<pollfd, 2> waiting{{{from.get(), POLLIN, 0}, {to.get(), POLLOUT, 0}}};
        if (::poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) {
            return output;
        }
        if ((waiting[1].revents & (POLLOUT | POLLERR)) != 0) {
            const auto written = ::write(to.get(), input.data(), input.size());
            input.remove_prefix(written > 0                         ? static_cast<std::size_t>(written)
                                : errno == EAGAIN || errno == EINTR ? 0
                                                                    : input.size());
        }
        if ((waiting[0].revents & (POLLIN | POLLHUP)) != 0) {
            const auto got = ::read(from.get(), part.data(), part.size());
            if (got == 0 || (got < 0 && errno != EINTR)) {
                return output;
            }
            output.append(part.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        }
    }
}

}  // namespace

Result<std::string, std::string> runSubprocess(const std::filesystem::path& program,
                                               const std::vector<std::string>& arguments, std::string_view input) {
    Pipe to = makePipe();
    Pipe from = makePipe();
    std::vector<std::string> words{program.string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to.read.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from.write.get(), STDOUT_FILENO);
    pid_t child = -1;
    const int error = ::posix_spawn(&child, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        return failure(fmt::format("{} cannot be started: {}. Is the installation whole?", program.string(),
                                   std::strerror(error)));
    }
    to.read = FileDescriptor();
    from.write = FileDescriptor();
    std::string output = exchange(std::move(to.write), from.read, input);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (WIFSIGNALED(status)) {
        return failure(fmt::format("{} ended by signal {}.", program.filename().string(), WTERMSIG(status)));
    }
    return output;
}

}  // namespace tolvik
