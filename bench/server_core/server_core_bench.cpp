// server_core_bench FILE|ADDRESS [SECONDS [TOGETHER]]: what 64 clients that wait for each answer can change in a
// second.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <string>
#include <thread>
#include <vector>

#include "adapters/postgres/postgres_storage.h"
#include "adapters/sqlite_server/sqlite_storage.h"
#include "adapters/system/system_clock.h"
#include "server/api/hash.h"
#include "server/api/server_app.h"
#include "server/storage/transaction.h"
#include "tests/fakes/fake_clock.h"

namespace tolvik::server {
namespace {

constexpr std::size_t clients = 64;
constexpr std::size_t connections = 4;

std::unique_ptr<Storage> open(const std::string& where) {
    if (where.find('=') != std::string::npos || where.starts_with("postgres")) {
        auto opened = PostgresStorage::open(where, connections);
        return opened ? std::move(*opened) : nullptr;
    }
    auto opened = SqliteStorage::open(where);
    return opened ? std::move(*opened) : nullptr;
}

/// A task, then entries of it that end one another.
Request nextOf(const std::string& token, const std::string& taskId, Random& random, const Clock& clock, bool isFirst) {
    Request out;
    const std::string now = formatInstant(clock.now());
    out.method = "POST";
    out.path = isFirst ? "/tasks" : "/time-entries";
    out.headers = {{"authorization", "Bearer " + token}, {"x-op-id", random.identifier().text()}};
    out.body = isFirst ? fmt::format(R"({{"id":"{}","title":"Work","status":"open","isActive":false,"createdAt":"{}",)"
                                     R"("updatedAt":"{}","sortOrder":0,"colorIndex":0}})",
                                     taskId, now, now)
                       : fmt::format(R"({{"id":"{}","taskId":"{}","startedAt":"{}","createdAt":"{}"}})",
                                     random.identifier().text(), taskId, now, now);
    return out;
}

/// How long a long log takes to read; its entries are put in place directly.
void measurePull(Storage& storage, ServerApp& app, const std::string& token, const Clock& clock, int entries) {
    FakeRandom random(static_cast<std::uint64_t>(clock.now().ms) + 1);
    const std::string task = random.identifier().text();
    const std::vector<Storage::Work> fill{[&](Transaction& transaction) {
        const auto session = transaction.session(sha256(token));
        for (int i = 0; i < entries; ++i) {
            const Instant at = clock.now() - std::chrono::minutes{i};
            RecordRow row{RecordKind::timeEntry, random.identifier().text(), {}, at, at};
            row.task = task;
            row.json = fmt::format(R"({{"id":"{}","taskId":"{}","startedAt":"{}","endedAt":"{}","durationMs":0,)"
                                   R"("createdAt":"{}"}})",
                                   row.id, task, formatInstant(at), formatInstant(at), formatInstant(at));
            transaction.addRecord(session->account, row, at);
        }
    }};
    if (!storage.transact(fill).front()) {
        return;
    }
    Request request;
    request.method = "GET";
    request.path = "/sync/pull";
    request.headers = {{"authorization", "Bearer " + token}};
    for (const char* query : {"", "", "from=2026-11-01&to=2026-11-02"}) {
        request.query = query;
        const auto begin = std::chrono::steady_clock::now();
        const auto outcome = app.serve(storage, {&request, 1});
        const auto took = std::chrono::duration_cast<Millis>(std::chrono::steady_clock::now() - begin);
        fmt::print("pull {}: {} ms, {} bytes\n", query, took.count(), outcome.front().response.body.size());
    }
}

int run(const std::string& where, int seconds, std::size_t together, int entries) {
    const auto storage = open(where);
    if (!storage) {
        fmt::print(stderr, "{} cannot be opened\n", where);
        return 1;
    }
    const SystemClock clock;
    FakeRandom random(static_cast<std::uint64_t>(clock.now().ms));
    ServerApp app(ServerPorts{.clock = clock, .random = random});
    const std::size_t lanes = storage->lanes();
    std::vector<std::string> tokens;
    std::vector<std::string> tasks;
    for (std::size_t i = 0; i < clients; ++i) {
        tokens.push_back(newToken(random));
        tasks.push_back(random.identifier().text());
    }
    const std::vector<Storage::Work> setUp{[&](Transaction& transaction) {
        for (const std::string& token : tokens) {
            transaction.addAccount(token, token, clock.now());
            transaction.addSession(sha256(token), transaction.accountOf(token)->number, token, clock.now());
        }
    }};
    if (!storage->transact(setUp).front()) {
        return 1;
    }
    std::atomic<long> done = 0;
    std::atomic<long> failed = 0;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    const auto lane = [&](std::size_t number) {
        FakeRandom own(number + static_cast<std::uint64_t>(clock.now().ms));
        for (int round = 0; std::chrono::steady_clock::now() < end; ++round) {
            std::vector<Request> requests;
            for (std::size_t i = number; i < clients; i += lanes) {
                requests.push_back(nextOf(tokens[i], tasks[i], own, clock, round == 0));
                if (requests.size() == together || i + lanes >= clients) {
                    for (const Outcome& outcome : app.serve(*storage, requests)) {
                        ++(outcome.response.status == 200 ? done : failed);
                    }
                    requests.clear();
                }
            }
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(lanes);
    for (std::size_t i = 0; i < lanes; ++i) {
        threads.emplace_back(lane, i);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    fmt::print("{} mutations a second, durable ({} failed, {} lanes, at most {} together)\n", done / seconds,
               failed.load(), lanes, together);
    static_cast<void>(std::fflush(stdout));
    if (entries > 0) {
        measurePull(*storage, app, tokens.front(), clock, entries);
    }
    return failed == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tolvik::server

int main(int argc, char** argv) {
    const auto number = [&](int at, int otherwise) { return argc > at ? std::atoi(argv[at]) : otherwise; };
    if (argc < 2) {
        fmt::print(stderr, "server_core_bench FILE|ADDRESS [SECONDS [TOGETHER [ENTRIES]]]\n");
        return 2;
    }
    return tolvik::server::run(argv[1], std::max(number(2, 5), 1), static_cast<std::size_t>(std::max(number(3, 64), 1)),
                               number(4, 0));
}
