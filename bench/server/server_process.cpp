#include "bench/server/server_process.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <nlohmann/json.hpp>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tolvik::bench {
namespace {

using Json = nlohmann::json;

[[noreturn]] void give(const std::string& why) {
    fmt::print(stderr, "server_load: {}\n", why);
    std::exit(3);
}

/// One line; empty at the end.
std::string readLine(int descriptor, std::string& buffer) {
    while (true) {
        if (const auto end = buffer.find('\n'); end != std::string::npos) {
            auto line = buffer.substr(0, end);
            buffer.erase(0, end + 1);
            return line;
        }
        std::array<char, 4096> part{};
        const auto got = ::read(descriptor, part.data(), part.size());
        if (got <= 0) {
            return {};
        }
        buffer.append(part.data(), static_cast<std::size_t>(got));
    }
}

}  // namespace

ServerProcess::ServerProcess(const std::string& program, const std::string& data, const std::vector<std::string>& more,
                             bool tls) {
    std::vector<std::string> words{program,     "--dev",       "--json", "--port",
                                   "0",         "--data",      data,     "--trusted-proxies",
                                   "127.0.0.1", "--log-level", "error"};
    if (!tls) {
        words.emplace_back("--plain");
    }
    words.insert(words.end(), more.begin(), more.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    std::array<int, 2> ends{-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        give("no pipe");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const auto begun = std::chrono::steady_clock::now();
    if (::posix_spawn(&process_, program.c_str(), &actions, nullptr, argv.data(), environ) != 0) {
        give(program + " cannot be started");
    }
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    from_ = ends[0];
    const Json line = Json::parse(readLine(from_, buffer_), nullptr, false);
    startMs_ = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
    if (!line.is_object() || line.value("event", "") != "listening") {
        give("the server did not start");
    }
    port_ = line.at("port").get<std::uint16_t>();
    if (tls) {
        authority_ = line.at("SSL_CERT_FILE").get<std::string>();
        tls_.reset(SSL_CTX_new(TLS_client_method()));
        SSL_CTX_load_verify_locations(tls_.get(), authority_.c_str(), nullptr);
        SSL_CTX_set_verify(tls_.get(), SSL_VERIFY_PEER, nullptr);
        SSL_CTX_set_mode(tls_.get(), SSL_MODE_RELEASE_BUFFERS);
    }
    reader_ = std::thread([this] { readLines(); });
}

ServerProcess::~ServerProcess() {
    ::kill(process_, SIGTERM);
    ::waitpid(process_, nullptr, 0);
    reader_.join();
    ::close(from_);
}

void ServerProcess::readLines() {
    for (auto line = readLine(from_, buffer_); !line.empty(); line = readLine(from_, buffer_)) {
        const Json json = Json::parse(line, nullptr, false);
        if (json.is_object() && json.value("event", "") == "code") {
            const std::lock_guard lock(mutex_);
            codes_[json.at("address").get<std::string>()] = json.at("code").get<std::string>();
            came_.notify_all();
        }
    }
}

std::string ServerProcess::awaitCode(const std::string& address) {
    std::unique_lock lock(mutex_);
    came_.wait_for(lock, std::chrono::seconds(10), [&] { return codes_.contains(address); });
    const auto found = codes_.extract(address);
    return found.empty() ? std::string() : found.mapped();
}

std::unique_ptr<HttpClient> ServerProcess::connect() const {
    return std::make_unique<HttpClient>(port_, tls_.get());
}

std::string ServerProcess::signIn(HttpClient& client, const std::string& address, std::size_t peer) {
    const auto fields = fmt::format("content-type: application/json\r\nx-forwarded-for: 10.{}.{}.{}\r\n",
                                    peer >> 16 & 0xff, peer >> 8 & 0xff, peer & 0xff);
    if (client.request("POST", "/auth/otp/send", fields, Json{{"email", address}}.dump()).status != 200) {
        return {};
    }
    const auto code = awaitCode(address);
    const auto answer =
        client.request("POST", "/auth/otp/verify", fields, Json{{"email", address}, {"code", code}}.dump());
    const Json session = Json::parse(answer.body, nullptr, false);
    if (answer.status != 200 || !session.is_object()) {
        return {};
    }
    return fmt::format("{}x-client: macos\r\nauthorization: Bearer {}\r\n", fields,
                       session.at("token").get<std::string>());
}

std::int64_t ServerProcess::resident() const {
    std::ifstream file(fmt::format("/proc/{}/statm", process_));
    std::int64_t all = 0;
    std::int64_t pages = 0;
    file >> all >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

}  // namespace tolvik::bench
