// Starts a server and measures it from outside: start, idle memory, durable mutations a second, the time from a change
// to its announcement, and the memory of open streams. Client and server share the machine.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <map>
#include <random>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

#include "bench/server/server_process.h"

namespace {

using namespace tolvik::bench;
using Clock = std::chrono::steady_clock;

double ms(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

double at(std::vector<double>& values, double share) {
    std::ranges::sort(values);
    return values.empty() ? 0 : values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

std::string uuid(std::mt19937_64& chance) {
    const auto high = chance();
    const auto low = chance();
    return fmt::format("{:08X}-{:04X}-4{:03X}-A{:03X}-{:012X}", high >> 32, high >> 16 & 0xffff, high & 0xfff,
                       low >> 52, low & 0xffffffffffff);
}

/// What a client sends when a task is made.
std::string taskBody(const std::string& id) {
    return fmt::format(
        R"({{"id":"{}","title":"Review the release notes","status":"open","isActive":false,"sortOrder":0,"colorIndex":0,)"
        R"("createdAt":"2026-01-05T09:00:00.000Z","updatedAt":"2026-01-05T09:00:00.000Z"}})",
        id);
}

/// Signs in this many devices of as many users, several at a time; only those that succeeded.
std::vector<std::string> signInMany(ServerProcess& server, std::size_t count, std::size_t firstPeer) {
    std::vector<std::string> fields(count);
    std::vector<std::thread> threads;
    std::atomic<std::size_t> next = 0;
    for (int thread = 0; thread < 16; ++thread) {
        threads.emplace_back([&] {
            const auto client = server.connect();
            for (auto one = next++; one < count; one = next++) {
                fields[one] =
                    server.signIn(*client, fmt::format("user{}@bench.example", firstPeer + one), firstPeer + one);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    std::erase(fields, std::string());
    return fields;
}

void mutations(ServerProcess& server, std::size_t clients, int seconds) {
    const auto fields = signInMany(server, clients, 0);
    std::atomic<bool> over = false;
    std::atomic<std::uint64_t> done = 0;
    std::atomic<std::uint64_t> failed = 0;
    std::mutex mutex;
    std::vector<double> times;
    std::vector<std::thread> threads;
    const auto begun = Clock::now();
    for (std::size_t one = 0; one < fields.size(); ++one) {
        threads.emplace_back([&, one] {
            std::mt19937_64 chance(one + static_cast<std::size_t>(Clock::now().time_since_epoch().count()));
            const auto client = server.connect();
            std::vector<double> own;
            while (!over) {
                const auto id = uuid(chance);
                const auto sent = Clock::now();
                const auto answer =
                    client->request("POST", "/tasks", fields[one] + "x-op-id: " + uuid(chance) + "\r\n", taskBody(id));
                if (answer.status >= 200 && answer.status < 300) {
                    ++done;
                    own.push_back(ms(Clock::now() - sent));
                } else if (failed++ == 0) {
                    fmt::print(stderr, "first refusal: {} {}\n", answer.status, answer.body);
                }
            }
            const std::lock_guard lock(mutex);
            times.insert(times.end(), own.begin(), own.end());
        });
    }
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    over = true;
    for (auto& thread : threads) {
        thread.join();
    }
    const double took = ms(Clock::now() - begun) / 1000;
    fmt::print("mutations: {} clients, {:.0f} a second, answer after {:.2f} ms median, {:.2f} ms p95; {} refused\n",
               fields.size(), static_cast<double>(done) / took, at(times, 0.5), at(times, 0.95), failed.load());
}

void latency(ServerProcess& server, std::size_t rounds) {
    std::mt19937_64 chance(std::random_device{}());
    const auto writer = server.connect();
    const auto listener = server.connect();
    const auto sender = server.signIn(*writer, "pair@bench.example", 0xaaaaaa);
    const auto receiver = server.signIn(*writer, "pair@bench.example", 0xaaaaab);
    if (sender.empty() || receiver.empty() || !listener->openStream(receiver)) {
        fmt::print("announcement: no stream\n");
        return;
    }
    std::vector<double> times;
    for (std::size_t round = 0; round < rounds; ++round) {
        const auto begun = Clock::now();
        const auto answer =
            writer->request("POST", "/tasks", sender + "x-op-id: " + uuid(chance) + "\r\n", taskBody(uuid(chance)));
        if (answer.status >= 300 || !listener->awaitChange()) {
            break;
        }
        times.push_back(ms(Clock::now() - begun));
    }
    const auto count = times.size();
    fmt::print("announcement: request sent to the other device's event, {:.2f} ms median, {:.2f} ms p95 of {}\n",
               at(times, 0.5), at(times, 0.95), count);
}

void streams(ServerProcess& server, std::size_t wanted) {
    // A device holds one stream, so each needs a session of its own; the memory of those is not the streams'.
    const auto fields = signInMany(server, wanted, 0x10000);
    fmt::print("streams: {} sessions\n", fields.size());
    std::vector<std::unique_ptr<HttpClient>> open;
    // The first ones warm up what all of them share.
    const std::size_t warm = std::min<std::size_t>(100, fields.size());
    std::int64_t before = 0;
    const auto begun = Clock::now();
    for (std::size_t one = 0; one < fields.size(); ++one) {
        if (one == warm) {
            std::this_thread::sleep_for(std::chrono::seconds(1));
            before = server.resident();
        }
        auto client = server.connect();
        if (!client->openStream(fields[one])) {
            fmt::print(stderr, "stream {} was refused\n", one);
            break;
        }
        open.push_back(std::move(client));
    }
    const auto took = ms(Clock::now() - begun) / 1000;
    std::this_thread::sleep_for(std::chrono::seconds(3));
    const auto after = server.resident();
    const auto measured = static_cast<double>(open.size() - warm);
    fmt::print("streams: {} open after {:.1f} s; {:.1f} KB each ({:.1f} MB to {:.1f} MB)\n", open.size(), took,
               static_cast<double>(after - before) / 1024 / measured, static_cast<double>(before) / 1e6,
               static_cast<double>(after) / 1e6);
    std::this_thread::sleep_for(std::chrono::seconds(22));
    fmt::print("streams: after a comment on each {:.1f} KB each\n",
               static_cast<double>(server.resident() - before) / 1024 / measured);
}

}  // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::string> options{{"--server", ""},  {"--data", ""},      {"--database", ""},
                                               {"--tls", "yes"},  {"--clients", "64"}, {"--seconds", "10"},
                                               {"--streams", "0"}};
    for (int one = 1; one + 1 < argc; one += 2) {
        options[argv[one]] = argv[one + 1];
    }
    if (options["--server"].empty() || options["--data"].empty() || options.size() != 7) {
        fmt::print(stderr,
                   "usage: server_load --server PROGRAM --data FOLDER [--database URL] [--tls yes|no] [--clients 64] "
                   "[--seconds 10] [--streams 0]\n");
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::signal(SIGPIPE, SIG_IGN);
    rlimit files{};
    ::getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &files);
    std::vector<std::string> more;
    if (!options["--database"].empty()) {
        more = {"--database", options["--database"]};
    }
    ServerProcess server(options["--server"], options["--data"], more, options["--tls"] != "no");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    fmt::print("start: {:.0f} ms; idle memory {:.1f} MB\n", server.startMs(),
               static_cast<double>(server.resident()) / 1e6);
    if (const auto seconds = std::stoi(options["--seconds"]); seconds > 0) {
        latency(server, 200);
        mutations(server, std::stoul(options["--clients"]), seconds);
    }
    if (const auto wanted = std::stoul(options["--streams"]); wanted > 0) {
        streams(server, wanted);
    }
}
