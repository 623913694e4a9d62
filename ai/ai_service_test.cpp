#include "ai/ai_service.h"

#include <gtest/gtest.h>

#include "ai/assistant.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

class AIServiceTest : public StoreTest {
protected:
    AIServiceTest() { zone.set("Europe/Helsinki"); }

    void signIn() { ASSERT_TRUE(session.establish("t0ken", "u1", "ann@example.org", "Ann")); }
    std::string queryError() {
        std::string text;
        service.query("how much",
                      [&](Result<Answer, AIError> answer) { text = answer ? "none" : answer.error().text(); });
        EXPECT_EQ(text, "");
        loop.runPosted();
        return text;
    }
    /// What a query makes of an answer of the server.
    std::string replied(int status, std::string body) {
        std::string text;
        service.query("how much",
                      [&](Result<Answer, AIError> answer) { text = answer ? answer->text : answer.error().text(); });
        http.reply(status, std::move(body));
        loop.runPosted();
        return text;
    }

    std::optional<std::string> base{"https://tolvik.example"};
    BackendEndpoint endpoint{[this] { return base; }};
    FakeSecretStore secrets;
    Session session{values, secrets};
    FakeHttpClient http{loop};
    AIService service{{endpoint, session, http, loop, clock, zone}};
    Assistant assistant{{*store, service, session, loop, clock, zone}};
};

TEST_F(AIServiceTest, asksWithTheDaysOffset) {
    signIn();
    std::optional<DaySummary> got;
    service.dailySummary(day("2026-07-01"), [&](Result<DaySummary, AIError> summary) { got = *summary; });
    const auto& request = http.last();
    EXPECT_EQ(request.method + " " + request.url, "GET https://tolvik.example/ai/summary/daily?date=2026-07-01");
    EXPECT_EQ(request.timeout, Millis{20'000});
    EXPECT_FALSE(request.body);
    EXPECT_EQ(request.headers.size(), 5U);
    EXPECT_EQ(findHeader(request.headers, "content-type"), "application/json");
    EXPECT_EQ(findHeader(request.headers, "x-client"), "macos");
    EXPECT_EQ(findHeader(request.headers, "X-TZ-Offset"), "-180");
    EXPECT_EQ(findHeader(request.headers, "X-TZ"), "Europe/Helsinki");
    EXPECT_EQ(findHeader(request.headers, "authorization"), "Bearer t0ken");
    http.reply(200, R"({"narrative":"Well.","stats":{"totalMs":5,"taskCount":1,"focusBlocks":0,"topProject":null}})");
    loop.runPosted();
    EXPECT_EQ(got, (DaySummary{"Well.", 5, 1, 0, std::nullopt}));

    service.narrative({day("2026-07-01"), day("2026-07-31")}, [](const auto&) {});
    EXPECT_EQ(http.last().url, "https://tolvik.example/ai/reports/narrative?from=2026-07-01&to=2026-07-31");
    EXPECT_EQ(findHeader(http.last().headers, "X-TZ-Offset"), "-120") << "of today, which is in winter";
    service.query("say \"hi\"", [](const auto&) {});
    EXPECT_EQ(http.last().body, R"({"question":"say \"hi\""})");
    EXPECT_EQ(http.last().headers.size(), 5U);
}

TEST_F(AIServiceTest, sendsNothingThatItMayNot) {
    EXPECT_EQ(queryError(), "Sign in required");
    signIn();
    base = "http://localhost:8080";
    EXPECT_EQ(queryError(), "Refusing to send token over plain HTTP");
    base = "HTTPS://tolvik.example";
    EXPECT_EQ(queryError(), "Refusing to send token over plain HTTP");
    base.reset();
    EXPECT_EQ(queryError(), "Refusing to send token over plain HTTP");
    base = "https://two words";
    EXPECT_EQ(queryError(), "Invalid backend URL");
    EXPECT_TRUE(http.exchanges.empty());
}

TEST_F(AIServiceTest, takesOnly200ForSuccess) {
    signIn();
    EXPECT_EQ(replied(200, R"({"answer":"3 h","citations":[{"taskId":"A","timeMs":2},{"taskId":"B","timeMs":1}]})"),
              "3 h");
    EXPECT_EQ(replied(200, R"({"answer":"3 h"})"), "AI request failed (200): request failed");
    EXPECT_EQ(replied(200, "[]"), "AI request failed (200): request failed");
    EXPECT_EQ(replied(204, ""), "AI request failed (204): request failed");
    EXPECT_EQ(replied(500, R"({"error":")" + std::string(300, 'x') + R"("})"),
              "AI request failed (500): " + std::string(200, 'x'));
    EXPECT_TRUE(session.currentToken());
    EXPECT_EQ(replied(401, R"({"error":"over"})"), "AI request failed (401): over");
    EXPECT_FALSE(session.currentToken());
}

TEST_F(AIServiceTest, answersOnTheDeviceWhenSignedOut) {
    const auto id = start("Reading");
    clock.advance(Millis{90 * 60'000});
    AssistantReply reply;
    const auto keep = [&](AssistantReply made) { reply = std::move(made); };
    EXPECT_FALSE(assistant.ask("  \n", keep));
    ASSERT_TRUE(assistant.ask("how much time on reading today?", keep));
    EXPECT_FALSE(assistant.ask("again", keep));
    loop.runPosted();
    EXPECT_EQ(reply.kind, AssistantReply::Kind::answer);
    EXPECT_EQ(reply.text, "Today, Tuesday 10 November 2026, you tracked 1 h 30 min on “Reading”.");
    EXPECT_EQ(reply.citations, (std::vector<Citation>{{id, 5'400'000}}));
    ASSERT_TRUE(assistant.ask("how is the weather", keep));
    loop.runPosted();
    EXPECT_EQ(reply.kind, AssistantReply::Kind::refusal);
    EXPECT_TRUE(http.exchanges.empty());

    signIn();
    ASSERT_TRUE(assistant.ask("how much time on reading today?", keep));
    EXPECT_TRUE(assistant.isAsking());
    http.fail();
    loop.runPosted();
    EXPECT_FALSE(assistant.isAsking());
    EXPECT_EQ(reply.text, "Couldn't reach the assistant. Try again.");
}

TEST_F(AIServiceTest, fetchesADaysSummaryOnce) {
    signIn();
    SummaryCard card(assistant);
    int changes = 0;
    const auto show = [&](std::string_view key) { card.show(day(key), [&] { ++changes; }); };
    show("2026-11-10");
    show("2026-11-10");
    EXPECT_EQ(http.exchanges.size(), 1U);
    http.reply(500);
    loop.runPosted();
    EXPECT_EQ(card.lastFetchedDate(), std::nullopt);
    show("2026-11-10");
    http.reply(200, R"({"narrative":"a","stats":{"totalMs":5,"taskCount":1,"focusBlocks":0}})");
    loop.runPosted();
    show("2026-11-10");
    EXPECT_EQ(http.exchanges.size(), 2U);
    EXPECT_EQ(card.summary()->narrative, "a");
    show("2026-11-09");
    http.reply(500);
    loop.runPosted();
    EXPECT_EQ(card.summary()->narrative, "a") << "a failure leaves what was shown";
    EXPECT_EQ(changes, 1);
}

TEST_F(AIServiceTest, isSilentOnceItIsGone) {
    signIn();
    {
        AIService brief({endpoint, session, http, loop, clock, zone});
        brief.query("how much", [](const auto&) { FAIL(); });
        session.clear();
        brief.query("how much", [](const auto&) { FAIL(); });
    }
    EXPECT_TRUE(http.exchanges.back()->isCancelled);
    loop.runPosted();
}

}  // namespace
}  // namespace tolvik
