#include "server/speech/process_transcriber.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "server/speech/frames.h"

namespace tolvik::server {
namespace {

using Json = nlohmann::json;

ServiceProblem unavailable(std::string text) {
    return {ServiceProblem::Kind::unavailable, std::move(text)};
}

Result<std::string, ServiceProblem> read(const std::string& answer) {
    const Json json = Json::parse(answer, nullptr, false);
    const auto text = [&](const char* key) -> std::optional<std::string> {
        const auto found = json.is_object() ? json.find(key) : json.end();
        return found != json.end() && found->is_string() ? std::optional(found->get<std::string>()) : std::nullopt;
    };
    if (auto heard = text("text")) {
        return std::move(*heard);
    }
    if (auto bad = text("badInput")) {
        return failure(ServiceProblem{ServiceProblem::Kind::badInput, std::move(*bad)});
    }
    return failure(unavailable(text("unavailable").value_or("The speech engine gave no answer.")));
}

}  // namespace

ProcessTranscriber::~ProcessTranscriber() {
    end();
}

Result<std::string, ServiceProblem> ProcessTranscriber::transcribe(std::string_view audio, std::string_view prompt) {
    struct Turn {
        explicit Turn(std::atomic<std::size_t>& one) : count(one), before(one.fetch_add(1)) {}
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;
        ~Turn() { --count; }
        std::atomic<std::size_t>& count;
        const std::size_t before;
    };
    const Turn turn(waiting_);
    if (turn.before > options_.mostWaiting) {
        return failure(ServiceProblem{ServiceProblem::Kind::busy, "Too many recordings wait to be transcribed."});
    }
    const std::lock_guard lock(mutex_);
    const bool fresh = process_ < 0;
    if (fresh && !start()) {
        return failure(unavailable("The transcribing program cannot be started."));
    }
    auto answer = ask(audio, prompt);
    if (!answer) {
        const bool hadEnded =
            process_ > 0 && ::kill(process_, 0) == 0 && ::waitpid(process_, nullptr, WNOHANG) == process_;
        if (hadEnded) {
            process_ = -1;
        }
        end();
        // An idle process ends by itself; only then is it worth another try.
        if (!fresh && hadEnded && start()) {
            answer = ask(audio, prompt);
            if (!answer) {
                end();
            }
        }
    }
    return answer ? read(*answer) : failure(unavailable("The speech engine gave no answer in time."));
}

std::optional<std::string> ProcessTranscriber::ask(std::string_view audio, std::string_view prompt) {
    const auto deadline = FrameDeadline::clock::now() + options_.longest;
    if (!writeFrame(to_, prompt, deadline) || !writeFrame(to_, audio, deadline)) {
        return std::nullopt;
    }
    return readFrame(from_, deadline);
}

bool ProcessTranscriber::start() {
    std::array<int, 2> to{-1, -1};
    std::array<int, 2> from{-1, -1};
    if (::pipe2(to.data(), O_CLOEXEC) != 0 || ::pipe2(from.data(), O_CLOEXEC) != 0) {
        return false;
    }
    std::string program = options_.program.string();
    std::string folder = options_.modelFolder.string();
    std::array<char*, 3> argv{program.data(), folder.empty() ? nullptr : folder.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, to[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, from[1], STDOUT_FILENO);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t usual;
    sigemptyset(&usual);
    sigaddset(&usual, SIGPIPE);
    // The server's threads block the signals that end it; the process must still end by them.
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = ::posix_spawn(&process_, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(to[0]);
    ::close(from[1]);
    to_ = to[1];
    from_ = from[0];
    if (error != 0) {
        process_ = -1;
        end();
        return false;
    }
    return true;
}

void ProcessTranscriber::end() {
    for (int* one : {&to_, &from_}) {
        if (*one >= 0) {
            ::close(*one);
            *one = -1;
        }
    }
    if (process_ > 0) {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
        process_ = -1;
    }
}

}  // namespace tolvik::server
