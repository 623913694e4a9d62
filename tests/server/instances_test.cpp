#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

#include "adapters/postgres/postgres_connection.h"
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
        address = PostgresCluster::shared().newDatabase();
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

    std::string address;
    FakeRandom otherRandom{8};
    std::unique_ptr<Storage> otherStorage;
    std::unique_ptr<ServerApp> otherApp;
};

/// What the other instance hears, while this lives.
class Ears {
public:
    explicit Ears(Storage& storage) : storage_(storage) {
        storage.onAnnouncement([this](const Announcement& one) { note([&] { announced.push_back(one); }); });
        storage.onEnded([this](const EndedSession& one) { note([&] { ended.push_back(one); }); });
        storage.onGap([this] { note([&] { ++gaps; }); });
    }
    Ears(const Ears&) = delete;
    Ears& operator=(const Ears&) = delete;
    ~Ears() {
        storage_.onAnnouncement(nullptr);
        storage_.onEnded(nullptr);
        storage_.onGap(nullptr);
    }

    /// Much sooner than the listener asks whether its connection is still there.
    [[nodiscard]] bool soon(const std::function<bool()>& isTrue) {
        std::unique_lock lock(guard_);
        return more_.wait_for(lock, Millis{15'000}, isTrue);
    }

    std::vector<Announcement> announced;
    std::vector<EndedSession> ended;
    int gaps = 0;

private:
    void note(const std::function<void()>& what) {
        const std::scoped_lock lock(guard_);
        what();
        more_.notify_all();
    }

    Storage& storage_;
    std::mutex guard_;
    std::condition_variable more_;
};

TEST_P(InstancesTest, OneHearsWhatTheOtherAnnounces) {
    Ears own(*storage);
    Ears other(*otherStorage);
    ASSERT_TRUE(own.soon([&] { return own.gaps > 0; }));
    ASSERT_TRUE(other.soon([&] { return other.gaps > 0; }));
    const std::string token = signIn("a@b.c");
    const std::vector<Announcement> made = send(token, "POST", "/tasks", task(newId())).outcome.announcements;
    const std::vector<EndedSession> left = send(token, "POST", "/auth/logout").outcome.ended;
    ASSERT_EQ(made.size(), 1U);
    EXPECT_TRUE(other.soon([&] { return !other.announced.empty() && !other.ended.empty(); }));
    EXPECT_EQ(other.announced, made);
    EXPECT_EQ(other.ended, left);
    EXPECT_TRUE(own.announced.empty());
}

TEST_P(InstancesTest, NothingOfABurstWaitsForTheNextAnnouncement) {
    constexpr std::size_t bursts = 60;
    constexpr std::size_t together = 4;
    Ears other(*otherStorage);
    ASSERT_TRUE(other.soon([&] { return other.gaps > 0; }));
    const std::string token = signIn("a@b.c");
    for (std::size_t i = 1; i <= bursts; ++i) {
        for (std::size_t j = 0; j < together; ++j) {
            EXPECT_EQ(send(token, "POST", "/tasks", task(newId())).status, 200);
        }
        ASSERT_TRUE(other.soon([&] { return other.announced.size() >= i * together; })) << "burst " << i;
    }
}

TEST_P(InstancesTest, AListenerThatLostItsConnectionSaysSoAndHearsAgain) {
    Ears other(*otherStorage);
    ASSERT_TRUE(other.soon([&] { return other.gaps == 1; }));
    PostgresConnection operatorOf(address, "operator");
    ASSERT_FALSE(operatorOf.connect().has_value());
    ASSERT_TRUE(
        operatorOf.execute("SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE "
                           "datname = current_database() AND query = 'LISTEN tolvik'"));
    ASSERT_TRUE(other.soon([&] { return other.gaps == 2; }));
    const std::string token = signIn("a@b.c");
    EXPECT_EQ(send(token, "POST", "/tasks", task(newId())).status, 200);
    EXPECT_TRUE(other.soon([&] { return other.announced.size() == 1; }));
}

TEST_P(InstancesTest, TwoThatStartTogetherOnAnOlderDatabaseUpgradeItOnce) {
    const std::string token = signIn("a@b.c");
    const std::string id = newId();
    EXPECT_EQ(send(token, "POST", "/tasks", task(id)).status, 200);
    storage.reset();
    otherStorage.reset();
    PostgresConnection operatorOf(address, "operator");
    ASSERT_FALSE(operatorOf.connect().has_value());
    ASSERT_TRUE(operatorOf.execute("DROP INDEX record_long; DELETE FROM schema_version WHERE version = 2"));
    std::thread other([&] {
        auto opened = PostgresStorage::open(address, 3);
        ASSERT_TRUE(opened.has_value()) << opened.error().text;
        otherStorage = std::move(*opened);
    });
    auto opened = PostgresStorage::open(address, 3);
    other.join();
    ASSERT_TRUE(opened.has_value()) << opened.error().text;
    storage = std::move(*opened);
    EXPECT_EQ(operatorOf.numberOf("SELECT count(*) FROM schema_version"), 2);
    EXPECT_EQ(operatorOf.numberOf("SELECT count(*) FROM pg_indexes WHERE indexname = 'record_long'"), 1);
    EXPECT_FALSE(byId(pull(token)["tasks"], id).is_null());
    EXPECT_EQ(ask(true, token, "POST", "/tasks", task(newId())).status, 200);
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
