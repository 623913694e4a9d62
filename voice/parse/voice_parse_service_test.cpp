#include "voice/parse/voice_parse_service.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

class VoiceParseServiceTest : public testing::Test {
protected:
    VoiceParseServiceTest() { EXPECT_TRUE(session.establish("tok", "u1", "ann@example.org", "")); }

    /// The command in one line, or the error's text.
    std::string ask(int status = 200, std::string body = {}) {
        std::string out = "nothing";
        const auto before = http.exchanges.size();
        std::vector<BackendParser::Candidate> tasks(2);
        tasks[0].task = TaskInfo{Identifier("t1"), "Å", 1, true};
        tasks[0].status = "open";
        tasks[1].task = TaskInfo{Identifier("t2"), "B", 2, false};
        tasks[1].status = "odd";
        const auto request = service.ask(
            "do \"it\"", tasks, "Tamsin", [&](const Result<BackendParser::Command, VoiceParseError>& answer) {
                out = answer ? answer->action + "/" + (answer->taskId ? answer->taskId->text() : "-") + "/" +
                                   answer->taskTitle + "/" + answer->reason.value_or("-")
                             : describe(answer.error());
            });
        wasSent = http.exchanges.size() > before;
        if (wasSent) {
            http.reply(status, std::move(body));
        }
        loop.runFor(Millis{0});
        return out;
    }

    FakeClock clock;
    VirtualMainLoop loop{clock};
    FakeHttpClient http{loop};
    MemoryValueStore values;
    FakeSecretStore secrets;
    std::string base = "https://api.example.org";
    BackendEndpoint endpoint{[this] { return base; }};
    Session session{values, secrets};
    VoiceParseService service{{http, endpoint, session, loop}};
    bool wasSent = false;
};

TEST_F(VoiceParseServiceTest, sendsSentenceTasksAndVocabulary) {
    EXPECT_EQ(ask(200, R"({"action":"switch","taskId":"t2","task":"B","reason":"call"})"), "switch/t2/B/call");
    EXPECT_EQ(http.last().method + " " + http.last().url, "POST https://api.example.org/voice/parse");
    EXPECT_EQ(http.last().timeout, Millis{15'000});
    EXPECT_EQ(
        http.last().headers,
        (HttpHeaders{{"content-type", "application/json"}, {"x-client", "macos"}, {"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().body,
              R"({"transcript":"do \"it\"","tasks":[)"
              R"({"id":"t1","title":"Å","position":1,"isActive":true,"status":"open"},)"
              R"({"id":"t2","title":"B","position":2,"isActive":false,"status":"odd"}],"dictionary":"Tamsin"})");
}

TEST_F(VoiceParseServiceTest, readsAnswersAndRefusals) {
    EXPECT_EQ(ask(200, R"({"action":"dance","task":5,"taskId":null})"), "none/-//-");
    EXPECT_EQ(ask(200, R"({"action":"start","task":"New"})"), "start/-/New/-");
    for (const char* body : {"", "[]", "{}", R"({"action":1})", "{\"action\":\"start\""}) {
        EXPECT_EQ(ask(200, body), "Parse error: Invalid response structure") << body;
    }
    EXPECT_EQ(ask(500, R"({"error":")" + std::string(300, 'e') + "\"}"),
              "Voice parse failed (500): " + std::string(200, 'e'));
    EXPECT_EQ(ask(429, "busy"), "Voice parse failed (429): request failed");
    EXPECT_EQ(ask(401), "Voice parse failed (401): request failed");
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_EQ(ask(), "Voice parse failed (401): not signed in");
    EXPECT_FALSE(wasSent);
}

TEST_F(VoiceParseServiceTest, sendsNothingWhereTheTokenIsNotSafe) {
    base = "http://localhost:1";
    EXPECT_EQ(ask(), "Voice parse failed (0): refusing to send token over plain HTTP");
    base = "https://a b";
    EXPECT_EQ(ask(), "Voice parse failed (0): Invalid backend URL");
    EXPECT_FALSE(wasSent);
    base = "https://api.example.org";
    std::optional<BackendParser::Command> command{BackendParser::Command{}};
    const auto request = service.parse("x", {}, "", [&](auto answer) { command = std::move(answer); });
    http.fail("the server could not be reached");
    loop.runPosted();
    EXPECT_FALSE(command) << "the caller falls back on its own result";
}

}  // namespace
}  // namespace tolvik
