#include "sync/sync_service.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Answer = Result<PullOutcome, SyncError>;

std::string folderForTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tolvik-XXXXXX").string();
    return ::mkdtemp(name.data());
}

/// A signed-in device whose server is the test; it is the tenth of November, ten in the morning in UTC.
class SyncServiceTest : public ::testing::Test {
protected:
    SyncServiceTest() { EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann")); }
    ~SyncServiceTest() override { std::filesystem::remove_all(folder); }

    /// Answers the request under way, and lets what follows at once happen.
    void answer(int status, std::string body = R"({"tasks":[],"timeEntries":[],"switchLogs":[],"tags":[],)"
                                               R"("dictionaries":[],"deleted":[]})") {
        http.reply(status, std::move(body));
        loop.runPosted();
    }
    [[nodiscard]] static std::string taskNamed(const std::string& id, const std::string& title) {
        return R"({"tasks":[{"id":")" + id + R"(","title":")" + title +
               R"(","status":"open","isActive":false,"createdAt":"2026-11-01T00:00:00.000Z",)"
               R"("updatedAt":"2026-11-01T00:00:00.000Z","sortOrder":0,"colorIndex":0}],)"
               R"("timeEntries":[],"switchLogs":[],"tags":[],"dictionaries":[]})";
    }
    /// The paths that were asked for since the last look.
    std::vector<std::string> asked() {
        std::vector<std::string> out;
        for (; looked < http.exchanges.size(); ++looked) {
            const HttpRequest& request = http.exchanges[looked]->request;
            out.push_back(request.method + " " + request.url.substr(std::string("https://api").size()));
        }
        return out;
    }
    SyncService::Done into(std::vector<Answer>& answers) {
        return [&answers](const Answer& one) { answers.push_back(one); };
    }

    std::filesystem::path folder = folderForTest();
    FakeClock clock;
    FakeTimeZone zone{"Europe/Helsinki"};
    FakeRandom random;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    std::string base = "https://api";
    BackendEndpoint endpoint{[this] { return std::optional<std::string>(base); }};
    FakeHttpClient http{loop};
    SseStream stream{{http, endpoint, session, clock, random, loop}};
    SyncOutbox outbox{{values, clock, random, loop, workers, folder.string()}};
    DictionaryManager dictionary{{values, clock, random, loop, outbox, stream}};
    AppStore store{{values,
                    clock,
                    zone,
                    random,
                    loop,
                    outbox,
                    stream,
                    [] { return std::optional<Identifier>(); },
                    [] { return true; },
                    {}}};
    SyncService service{{http, endpoint, session, clock, zone, loop, workers, outbox, store, dictionary, stream}};
    std::size_t looked = 0;
};

TEST_F(SyncServiceTest, AFullPullBringsTheServersRecords) {
    std::vector<Answer> answers;
    service.pullAll(into(answers));
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull"));
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"x-client", "macos"},
                                                {"X-TZ-Offset", "-120"},
                                                {"X-TZ", "Europe/Helsinki"},
                                                {"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().timeout, Millis{15'000});
    int pulled = 0;
    const auto hearing = service.onPulled([&] { ++pulled; });
    answer(200, taskNamed("A", "theirs"));
    ASSERT_EQ(store.tasks().size(), 1U);
    EXPECT_EQ(store.tasks()[0].title, "theirs");
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0]->changed, 1U);
    EXPECT_EQ(pulled, 1);
    EXPECT_FALSE(service.isPulling());
}

TEST_F(SyncServiceTest, ARangeIsAskedForByItsDaysAndTheOffsetOfItsFirst) {
    service.pullRange(day("2026-07-01"), day("2026-07-31"));
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-07-01&to=2026-07-31"));
    EXPECT_EQ(http.last().timeout, Millis{30'000});
    EXPECT_EQ(findHeader(http.last().headers, "X-TZ-Offset"), "-180") << "summer time";
    // One at a time; whoever asks for the same while it waits shares it.
    std::vector<Answer> answers;
    service.pullRange(day("2026-01-01"), day("2026-01-31"), into(answers));
    service.pullRange(day("2026-01-01"), day("2026-01-31"), into(answers));
    service.pullRecent(into(answers));
    EXPECT_THAT(asked(), IsEmpty());
    answer(200);
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-01-01&to=2026-01-31"));
    answer(200);
    EXPECT_EQ(answers.size(), 2U);
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-11-09&to=2026-11-10"));
}

TEST_F(SyncServiceTest, WhatMayPassIsAskedAgainTwice) {
    std::vector<Answer> answers;
    service.pullRange(day("2026-07-01"), day("2026-07-01"), into(answers));
    for (const int wait : {500, 1000}) {
        answer(wait == 500 ? 503 : 429);
        const std::size_t before = http.exchanges.size();
        loop.runFor(Millis{wait - 1});
        EXPECT_EQ(http.exchanges.size(), before);
        loop.runFor(Millis{1});
        EXPECT_EQ(http.exchanges.size(), before + 1);
    }
    answer(500);
    ASSERT_EQ(answers.size(), 1U);
    EXPECT_EQ(answers[0].error(), (SyncError{SyncError::Kind::httpError, 500}));
    const std::size_t before = http.exchanges.size();
    loop.runFor(Millis{600'000});
    EXPECT_EQ(http.exchanges.size(), before) << "a range is nobody's debt";

    service.pullAll(into(answers));
    answer(404, "no");
    EXPECT_EQ(answers.back().error(), (SyncError{SyncError::Kind::httpError, 404})) << "that will not pass";
    asked();
    for (const int seconds : {5, 10, 20, 40, 60, 60}) {
        loop.runFor(Millis{seconds * 1000 - 1});
        EXPECT_THAT(asked(), IsEmpty());
        loop.runFor(Millis{1});
        EXPECT_THAT(asked(), ElementsAre("GET /sync/pull")) << "everything is still owed";
        answer(404);
    }
}

TEST_F(SyncServiceTest, AnAnswerThatDoesNotDecodeChangesNothing) {
    service.pullAll();
    answer(200, taskNamed("A", "theirs"));
    std::vector<Answer> answers;
    for (const char* body : {"", "[]", "{}", R"({"tasks":[{}]})"}) {
        service.pullAll(into(answers));
        answer(200, body);
        ASSERT_FALSE(answers.back()) << body;
        EXPECT_EQ(answers.back().error(), (SyncError{SyncError::Kind::httpError, 200}));
    }
    EXPECT_EQ(store.tasks().size(), 1U);
}

TEST_F(SyncServiceTest, NothingIsAskedWithoutATokenOrOverHttp) {
    std::vector<Answer> answers;
    base = "http://api";
    service.pullAll(into(answers));
    EXPECT_THAT(answers, IsEmpty()) << "not before the caller goes on";
    loop.runPosted();
    EXPECT_EQ(answers.back().error().kind, SyncError::Kind::invalidUrl);
    session.clear();
    service.pullRange(day("2026-07-01"), day("2026-07-01"), into(answers));
    loop.runPosted();
    EXPECT_EQ(answers.back().error().kind, SyncError::Kind::notAuthenticated);
    EXPECT_EQ(http.exchanges.size(), 0U);
}

TEST_F(SyncServiceTest, A401EndsTheSessionThatAskedAndNoOther) {
    std::vector<Answer> answers;
    service.pullAll(into(answers));
    ASSERT_TRUE(session.establish("new", "u1", "ann@example.org", "Ann"));
    answer(401);
    EXPECT_EQ(answers.back().error(), (SyncError{SyncError::Kind::httpError, 401}));
    EXPECT_TRUE(session.isSignedIn());
    service.pullAll(into(answers));
    answer(401);
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_FALSE(service.isPulling());
    loop.runFor(Millis{600'000});
    EXPECT_EQ(http.exchanges.size(), 2U);
}

TEST_F(SyncServiceTest, AChangeThatWaitsOrMovedMeanwhileStaysAsItIsHere) {
    service.pullAll();
    answer(200, taskNamed("A", "theirs"));
    const Identifier a("A");
    store.updateTask(a, {.title = "mine", .tagId = std::nullopt});
    ASSERT_EQ(outbox.pendingCount(), 1U);
    const auto sending = http.exchanges.back();
    service.pullAll();
    answer(200, taskNamed("A", "theirs again"));
    EXPECT_EQ(store.taskById(a)->title, "mine");
    // The operation leaves the queue while a pull is under way that the server answered before.
    service.pullAll();
    const auto pulling = http.exchanges.back();
    http.finish(sending, HttpResponse{200, {}, "{}"});
    loop.runPosted();
    asked();
    http.finish(pulling, HttpResponse{200, {}, taskNamed("A", "theirs of old")});
    loop.runPosted();
    EXPECT_EQ(store.taskById(a)->title, "mine");
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-11-09&to=2026-11-10")) << "it is looked at again";
    answer(200, taskNamed("A", "mine"));
    EXPECT_FALSE(service.isPulling());
}

TEST_F(SyncServiceTest, ARefusedChangeIsUndoneAndEverythingIsAskedFor) {
    service.pullAll();
    answer(200, taskNamed("A", "theirs"));
    store.updateTask(Identifier("A"), {.title = "mine", .tagId = std::nullopt});
    asked();
    answer(422);
    EXPECT_EQ(store.tasks()[0].title, "theirs");
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull")) << "the queue is empty, and only the server knows the rest";
}

TEST_F(SyncServiceTest, AnnouncementsBringTheLastDaysAndConnectionsEverything) {
    service.start();
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull", "GET /sync/stream"));
    const auto line = http.exchanges.back();
    const auto hear = [&](const char* bytes) {
        line->handlers.onData(bytes);
        loop.runPosted();
    };
    http.finish(http.exchanges.front(),
                HttpResponse{200, {{"date", "Tue, 10 Nov 2026 23:30:00 GMT"}}, taskNamed("A", "theirs")});
    line->handlers.onResponse(HttpResponse{200, {}, ""});
    loop.runPosted();
    hear(":ok\n\n");
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-11-09&to=2026-11-11"))
        << "everything came just now; by the server's clock it is tomorrow here";
    answer(200);
    hear("data: {}\n\n");
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull?from=2026-11-09&to=2026-11-11"));
    answer(200);
    clock.advance(Millis{61'000});
    hear(":ok\n\n");
    EXPECT_THAT(asked(), ElementsAre("GET /sync/pull"));
}

TEST_F(SyncServiceTest, SigningOutGivesUpWhatIsUnderWay) {
    std::vector<Answer> answers;
    service.pullAll(into(answers));
    service.pullRecent(into(answers));
    service.pullRange(day("2026-07-01"), day("2026-07-01"), into(answers));
    session.clear();
    service.userSignedOut();
    ASSERT_EQ(answers.size(), 3U);
    for (const Answer& one : answers) {
        EXPECT_EQ(one.error().kind, SyncError::Kind::notAuthenticated);
    }
    EXPECT_TRUE(http.exchanges.front()->isCancelled);
    loop.runFor(Millis{600'000});
    EXPECT_EQ(http.exchanges.size(), 1U);
    EXPECT_THAT(store.tasks(), IsEmpty());
}

}  // namespace
}  // namespace tolvik
