#include "sync/sse_stream.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

class SseStreamTest : public ::testing::Test {
protected:
    SseStreamTest() { EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann")); }

    void open(int status = 200) {
        http.streamReply(status);
        loop.runPosted();
    }
    void hear(std::string bytes) {
        http.streamData(std::move(bytes));
        loop.runPosted();
    }
    void cut(std::optional<HttpFailure> reason = HttpFailure{HttpFailure::Kind::transport, "gone"}) {
        http.streamEnd(std::move(reason));
        loop.runPosted();
    }

    FakeClock clock;
    FakeRandom random;
    VirtualMainLoop loop{clock};
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    std::string base = "https://api";
    BackendEndpoint endpoint{[this] { return std::optional<std::string>(base); }};
    FakeHttpClient http{loop};
    SseStream stream{{http, endpoint, session, clock, random, loop}};
    int told = 0;
    int greeted = 0;
    Subscription telling = stream.subscribe([this] { ++told; });
    Subscription greeting = stream.onConnected([this] { ++greeted; });
};

TEST_F(SseStreamTest, AsksOnceWithTheTokenAndOverHttpsOnly) {
    base = "http://localhost:1";
    stream.start();
    EXPECT_EQ(http.exchanges.size(), 0U);
    base = "https://api";
    stream.start();
    stream.start();
    ASSERT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(http.last().method, "GET");
    EXPECT_EQ(http.last().url, "https://api/sync/stream");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"x-client", "macos"}, {"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().timeout, Millis{60'000});
    EXPECT_EQ(http.last().lifetime, Millis{3'600'000});
}

TEST_F(SseStreamTest, EventsAreWhatStandsBetweenBlankLines) {
    stream.start();
    open();
    hear(":ok\n");
    EXPECT_FALSE(stream.isConnected()) << "the greeting is not over";
    hear("\n");
    EXPECT_TRUE(stream.isConnected());
    EXPECT_EQ(greeted, 1);
    hear("event: change\nda");
    hear("ta: {}\n");
    EXPECT_EQ(told, 0);
    hear("\ndata: 1\n\n\n\n: data: a comment\n\nevent: nothing\n\n \n data:x");
    EXPECT_EQ(told, 2);
    hear("\n\n");
    EXPECT_EQ(told, 3);
    hear("data: 1\r\n\r\n");
    EXPECT_EQ(told, 3) << "another kind of line ends nothing";
}

TEST_F(SseStreamTest, WaitsLongerAfterEachFailureAndAlsoAfterACleanEnd) {
    stream.start();
    for (const int seconds : {1, 2, 4, 8, 16, 30, 30}) {
        const std::size_t before = http.exchanges.size();
        cut(seconds % 4 == 0 ? std::nullopt : std::optional(HttpFailure{HttpFailure::Kind::transport, "gone"}));
        loop.runFor(Millis{seconds * 750 - 1});
        EXPECT_EQ(http.exchanges.size(), before) << seconds;
        loop.runFor(Millis{seconds * 500 + 2});
        EXPECT_EQ(http.exchanges.size(), before + 1) << seconds;
    }
    open();
    hear(":ok\n\n");
    cut();
    EXPECT_FALSE(stream.isConnected());
    const std::size_t before = http.exchanges.size();
    loop.runFor(Millis{1251});
    EXPECT_EQ(http.exchanges.size(), before + 1) << "a greeting begins anew";
}

TEST_F(SseStreamTest, OtherAnswersAreNotListenedTo) {
    stream.start();
    open(503);
    hear(":ok\n\ndata: 1\n\n");
    EXPECT_EQ(told + greeted, 0);
    cut(std::nullopt);
    loop.runFor(Millis{1251});
    ASSERT_EQ(http.exchanges.size(), 2U);
    open(401);
    EXPECT_FALSE(session.isSignedIn());
}

TEST_F(SseStreamTest, StoppingIsForGood) {
    stream.start();
    open();
    hear(":ok\n\n");
    stream.suppressUntil(clock.now() + Millis{8000});
    hear("data: 1\n\n");
    stream.stop();
    EXPECT_TRUE(http.exchanges.front()->isCancelled);
    loop.runFor(Millis{60'000});
    EXPECT_EQ(told, 0);
    EXPECT_EQ(http.exchanges.size(), 1U);
    // Nor does a wait for the next attempt outlive it.
    stream.start();
    cut();
    stream.stop();
    loop.runFor(Millis{60'000});
    EXPECT_EQ(http.exchanges.size(), 2U);
}

TEST_F(SseStreamTest, WhatIsMissedDuringAHoldOffIsToldOnceAfterIt) {
    stream.start();
    open();
    stream.suppressUntil(clock.now() + Millis{8000});
    stream.suppressUntil(clock.now() + Millis{3000});
    hear("data: 1\n\ndata: 2\n\n");
    loop.runFor(Millis{7999});
    EXPECT_EQ(told, 0) << "a shorter hold-off does not end a longer one";
    stream.suppressUntil(clock.now() + Millis{3000});
    loop.runFor(Millis{2000});
    EXPECT_EQ(told, 0);
    loop.runFor(Millis{1001});
    EXPECT_EQ(told, 1);
    // A clock that was set back does not silence it for longer than any hold-off lasts.
    stream.suppressUntil(clock.now() + Millis{8000});
    clock.advance(Millis{-3'600'000});
    hear("data: 3\n\n");
    loop.runFor(Millis{8000});
    EXPECT_EQ(told, 2);
}

TEST_F(SseStreamTest, AnEventWithoutEndIsNotFollowed) {
    stream.start();
    open();
    for (int i = 0; i < 20 && !http.exchanges.front()->isCancelled; ++i) {
        hear(std::string(100'000, 'x'));
    }
    EXPECT_TRUE(http.exchanges.front()->isCancelled);
    loop.runFor(Millis{1251});
    EXPECT_EQ(http.exchanges.size(), 2U);
}

}  // namespace
}  // namespace tolvik
