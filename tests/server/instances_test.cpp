#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "adapters/postgres/postgres_storage.h"
#include "tests/server/server_fixture.h"

namespace tolvik::server {
namespace {

/// Two instances of the server on one database; the fixture's own is the first.
class InstancesTest : public ServerTest {
protected:
    void SetUp() override {
        if (!PostgresCluster::isInstalled()) {
            GTEST_SKIP() << "PostgreSQL is not installed: nothing is known of several instances";
        }
        const std::string address = PostgresCluster::shared().newDatabase();
        for (auto* one : {&storage, &otherStorage}) {
            auto opened = PostgresStorage::open(address, 3);
            ASSERT_TRUE(opened.has_value()) << opened.error().text;
            *one = std::move(*opened);
        }
        app = std::make_unique<ServerApp>(ServerPorts{.clock = clock, .random = random});
        otherApp = std::make_unique<ServerApp>(ServerPorts{.clock = clock, .random = otherRandom});
    }

    Response ask(bool atOther, const std::string& token, const std::string& method, const std::string& path,
                 const Json& body, const std::string& opId = "") {
        Request request;
        request.method = method;
        request.path = path;
        request.headers = {{"authorization", "Bearer " + token}, {"x-op-id", opId}};
        request.body = body.is_null() ? "" : body.dump();
        return (atOther ? *otherApp : *app).serve(atOther ? *otherStorage : *storage, {&request, 1}).front().response;
    }

    FakeRandom otherRandom{8};
    std::unique_ptr<Storage> otherStorage;
    std::unique_ptr<ServerApp> otherApp;
};

TEST_P(InstancesTest, OneHearsWhatTheOtherAnnounces) {
    std::mutex guard;
    std::condition_variable heardMore;
    std::vector<Announcement> heard;
    std::vector<EndedSession> ended;
    std::atomic<int> ownEchoes = 0;
    storage->onAnnouncement([&](const Announcement&) { ++ownEchoes; });
    otherStorage->onAnnouncement([&](const Announcement& one) {
        const std::scoped_lock lock(guard);
        heard.push_back(one);
        heardMore.notify_all();
    });
    otherStorage->onEnded([&](const EndedSession& one) {
        const std::scoped_lock lock(guard);
        ended.push_back(one);
        heardMore.notify_all();
    });
    const std::shared_ptr<void> quiet(nullptr, [&](void*) {
        otherStorage->onAnnouncement(nullptr);
        otherStorage->onEnded(nullptr);
        storage->onAnnouncement(nullptr);
    });
    const std::string warming = signIn("a@b.c");
    const std::string token = signIn("a@b.c");
    // The other instance begins to listen on a thread of its own, so the first announcements may be too early for it,
    // and several may be on their way when the first is heard.
    const auto begins = [&] {
        send(warming, "POST", "/tasks", task(newId()));
        std::unique_lock lock(guard);
        return heardMore.wait_for(lock, Millis{100}, [&] { return !heard.empty(); });
    };
    bool listens = false;
    for (int i = 0; i < 300 && !listens; ++i) {
        listens = begins();
    }
    ASSERT_TRUE(listens);
    const std::vector<Announcement> made = send(token, "POST", "/tasks", task(newId())).outcome.announcements;
    const std::vector<EndedSession> left = send(token, "POST", "/auth/logout").outcome.ended;
    ASSERT_EQ(made.size(), 1U);
    std::unique_lock lock(guard);
    EXPECT_TRUE(heardMore.wait_for(lock, Millis{30'000},
                                   [&] { return std::ranges::count(heard, made.front()) > 0 && !ended.empty(); }));
    EXPECT_EQ(heard.back(), made.front());
    EXPECT_EQ(ended, left);
    EXPECT_EQ(ownEchoes, 0);
}

TEST_P(InstancesTest, DevicesOnBothChangeTheSameAccountsAtTheSameTime) {
    constexpr int rounds = 40;
    const std::vector<std::string> tokens{signIn("a@b.c"), signIn("x@y.z")};
    std::vector<std::string> tasks{newId(), newId()};
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(ask(false, tokens[i], "POST", "/tasks", task(tasks[i])).status, 200);
    }
    std::vector<std::string> entries;
    for (int i = 0; i < 2 * rounds; ++i) {
        entries.push_back(newId());
    }
    std::atomic<int> refused = 0;
    const auto work = [&](bool atOther) {
        for (int i = 0; i < rounds; ++i) {
            // Both send the same operations of both users, in opposite order, in one commit each.
            std::vector<Request> requests;
            for (std::size_t j = 0; j < 2; ++j) {
                const std::size_t user = atOther ? 1 - j : j;
                const std::string& id = entries[static_cast<std::size_t>(2 * i) + user];
                Request& request = requests.emplace_back();
                request.method = "POST";
                request.path = "/time-entries";
                request.headers = {{"authorization", "Bearer " + tokens[user]}, {"x-op-id", id}};
                request.body = entry(id, tasks[user]).dump();
            }
            for (const Outcome& outcome :
                 (atOther ? *otherApp : *app).serve(atOther ? *otherStorage : *storage, requests)) {
                refused += outcome.response.status == 200 ? 0 : 1;
            }
        }
    };
    std::thread other([&] { work(true); });
    work(false);
    other.join();
    EXPECT_EQ(refused, 0);
    for (const std::string& token : tokens) {
        const Json pulled = pull(token);
        EXPECT_EQ(pulled["timeEntries"].size(), static_cast<std::size_t>(rounds));
        EXPECT_EQ(
            std::ranges::count_if(pulled["timeEntries"], [](const Json& one) { return !one.contains("endedAt"); }), 1);
    }
}

TEST_P(InstancesTest, FiveTriesAreFiveOnAllInstancesTogether) {
    const Reply sent = send("", "POST", "/auth/otp/send", Json{{"email", "a@b.c"}});
    const std::string code = sent.outcome.mails.front().code;
    const Json wrong{{"email", "a@b.c"}, {"code", code == "000000" ? "000001" : "000000"}};
    std::thread other([&] {
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(ask(true, "", "POST", "/auth/otp/verify", wrong).status, 400);
        }
    });
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ask(false, "", "POST", "/auth/otp/verify", wrong).status, 400);
    }
    other.join();
    EXPECT_EQ(ask(true, "", "POST", "/auth/otp/verify", Json{{"email", "a@b.c"}, {"code", code}}).status, 400);
}

INSTANTIATE_TEST_SUITE_P(On, InstancesTest, testing::Values("postgres"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
}  // namespace tolvik::server
