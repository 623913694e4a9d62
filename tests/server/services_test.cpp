#include "server/api/multipart.h"
#include "server/api/parse_request.h"
#include "server/api/query_string.h"
#include "tests/server/server_fixture.h"

namespace tolvik::server {
namespace {

class ServicesTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        if (!IsSkipped() && !HasFatalFailure()) {
            token = signIn("a@b.c");
        }
    }
    static std::string form(const std::string& audio, const std::string& prompt) {
        std::string out =
            "--tolvik-B\r\nContent-Disposition: form-data; name=\"audio\"; filename=\"a \\\"b\\\".m4a\"\r\n"
            "Content-Type: audio/mp4\r\n\r\n" +
            audio + "\r\n";
        if (!prompt.empty()) {
            out += "--tolvik-B\r\nContent-Disposition: form-data; name=\"prompt\"\r\n\r\n" + prompt + "\r\n";
        }
        return out + "--tolvik-B--\r\n";
    }
    Reply speak(const std::string& body, const std::string& type = "multipart/form-data; boundary=tolvik-B") {
        return send(token, "POST", "/voice/transcribe", body, {{"content-type", type}});
    }
    std::string token;
};

TEST_P(ServicesTest, ARecordingIsHeardWithItsPrompt) {
    const std::string audio("\0\r\n--tolvik\r\n\xFF", 14);
    const Reply reply = speak(form(audio, "Recent task titles: Caf\u00e9."));
    EXPECT_EQ(reply.body, (Json{{"transcript", "write the report"}}));
    EXPECT_EQ(transcriber.heard,
              (std::vector<std::pair<std::string, std::string>>{{audio, "Recent task titles: Caf\u00e9."}}));
    EXPECT_EQ(speak(form(audio, "")).status, 200);
    EXPECT_EQ(transcriber.heard.back().second, "");

    for (const std::string& bad : {std::string(), std::string("x"), form("", ""), form(audio, std::string(5000, 'x')),
                                   form(audio, "\xFF"), form(audio, "").substr(0, 80)}) {
        EXPECT_EQ(speak(bad).status, 400);
    }
    EXPECT_EQ(speak(form(audio, ""), "multipart/form-data").status, 400);
    EXPECT_EQ(speak(form(audio, ""), "application/json").status, 400);
    transcriber.answer = failure(ServiceProblem{ServiceProblem::Kind::busy, "Too many recordings wait."});
    const Reply busy = speak(form(audio, ""));
    EXPECT_EQ(busy.status, 503);
    EXPECT_THAT(busy.outcome.response.headers, testing::Contains(testing::Key("Retry-After")));
    transcriber.answer = failure(ServiceProblem{ServiceProblem::Kind::badInput, "no sound"});
    EXPECT_EQ(speak(form(audio, "")).body["error"], "no sound");
    EXPECT_EQ(send("", "POST", "/voice/transcribe", form(audio, "")).status, 401);
}

TEST_P(ServicesTest, ASentenceIsUnderstoodHereAndOtherwiseByTheModel) {
    const Json tasks = Json::array(
        {{{"id", "T1"}, {"title", "Fix login"}, {"position", 1}, {"isActive", true}, {"status", "open"}},
         {{"id", "T2"}, {"title", "Write docs"}, {"position", 2}, {"isActive", false}, {"status", "open"}}});
    const auto ask = [&](const std::string& sentence) {
        return send(token, "POST", "/voice/parse",
                    Json{{"transcript", sentence}, {"tasks", tasks}, {"dictionary", "Tamsin"}});
    };
    EXPECT_EQ(ask("switch to write docs").body, (Json{{"action", "switch"}, {"taskId", "T2"}, {"task", "Write docs"}}));
    EXPECT_TRUE(model.inputs.empty()) << "sure by itself";

    const std::string vague = "that documentation thing again I suppose";
    model.answer = "Sure! ```json\n{\"action\":\"switch\",\"taskId\":\"T2\",\"task\":\"Hacked\",\"confidence\":0.9}```";
    EXPECT_EQ(ask(vague).body, (Json{{"action", "switch"}, {"taskId", "T2"}, {"task", "Write docs"}}));
    ASSERT_EQ(model.inputs.size(), 1U);
    EXPECT_EQ(Json::parse(model.inputs.front())["sentence"], vague);
    EXPECT_EQ(Json::parse(model.inputs.front())["tasks"], tasks);
    for (const char* bad : {"no idea", "{\"action\":\"switch\",\"taskId\":\"T9\"}", "{\"action\":\"rm -rf\"}", "}{",
                            "{\"action\":\"switch\",\"taskId\":\"T2\",\"confidence\":0.2}"}) {
        model.answer = std::string(bad);
        EXPECT_NE(ask(vague).body["action"], "switch") << bad;
    }
    EXPECT_EQ(send(token, "POST", "/voice/parse", Json{{"transcript", 1}, {"tasks", tasks}}).status, 400);
    EXPECT_EQ(send(token, "POST", "/voice/parse", Json{{"transcript", ""}, {"tasks", {1}}}).status, 400);
}

TEST_P(ServicesTest, EventsAreKeptOnceAndWithinBounds) {
    const auto event = [&](const std::string& id) {
        return Json{{"id", id},
                    {"ts", "2026-01-31T09:05:00Z"},
                    {"platform", "macos"},
                    {"event", "start"},
                    {"propsJSON", ""},
                    {"anonId", "a"},
                    {"sessionId", "s"},
                    {"extra", "dropped"}};
    };
    const Json voice = {{"id", "v"},          {"timestamp", now()},      {"transcript", "stop"},
                        {"action", "stop"},   {"taskTitle", ""},         {"method", "exact"},
                        {"confidence", 0.95}, {"resolvedLocally", true}, {"llmFallback", false},
                        {"latencyMs", 12},    {"audioBytes", nullptr}};
    Json wrong = event("w");
    wrong["event"] = std::string(65, 'x');
    EXPECT_EQ(send(token, "POST", "/analytics/ingest", Json{{"events", {event("1"), event("2"), wrong}}}).body,
              (Json{{"accepted", 2}}));
    EXPECT_EQ(send(token, "POST", "/analytics/ingest", Json{{"events", {event("2")}}}).status, 200);
    EXPECT_EQ(send(token, "POST", "/analytics/voice", Json{{"events", {voice}}}).body, (Json{{"accepted", 1}}));
    EXPECT_EQ(send(token, "POST", "/analytics/voice", Json{{"events", 5}}).status, 400);
    Json many = Json::array();
    for (int i = 0; i < 1001; ++i) {
        many.push_back(event(std::to_string(i)));
    }
    EXPECT_EQ(send(token, "POST", "/analytics/ingest", Json{{"events", many}}).status, 400);
    std::vector<std::string> product;
    std::vector<std::string> spoken;
    EXPECT_TRUE(storage
                    ->read([&](Transaction& transaction) {
                        product = transaction.events(1, "product");
                        spoken = transaction.events(1, "voice");
                    })
                    .has_value());
    EXPECT_EQ(product.size(), 2U);
    ASSERT_EQ(spoken.size(), 1U);
    EXPECT_EQ(Json::parse(spoken.front())["confidence"], 0.95);
    const std::vector<Storage::Work> trim{[](Transaction& transaction) { transaction.trimEvents(1, "product", 1); }};
    EXPECT_TRUE(storage->transact(trim).front().has_value());
    EXPECT_TRUE(
        storage->read([&](Transaction& transaction) { product = transaction.events(1, "product"); }).has_value());
    ASSERT_EQ(product.size(), 1U);
    EXPECT_EQ(Json::parse(product.front())["id"], "2");
}

TEST_P(ServicesTest, EachLimitSaysWhenItEnds) {
    int answered = 0;
    Reply last;
    for (int i = 0; i < 601; ++i) {
        last = send(token, "GET", "/sync/pull");
        answered += last.status == 200 ? 1 : 0;
    }
    EXPECT_EQ(answered, 600);
    EXPECT_EQ(last.status, 429);
    EXPECT_THAT(last.outcome.response.headers, testing::Contains(testing::Pair("Retry-After", "61")));
    clock.advance(Millis{61'000});
    EXPECT_EQ(send(token, "GET", "/sync/pull").status, 200);
}

INSTANTIATE_TEST_SUITE_P(On, ServicesTest, testing::Values("sqlite", "postgres"),
                         [](const auto& one) { return std::string(one.param); });

TEST(QueryString, NamesAndValues) {
    EXPECT_EQ(parseQuery("from=2026-01-01&to=a%2Bb+c&x"),
              (QueryItems{{"from", "2026-01-01"}, {"to", "a+b c"}, {"x", ""}}));
    EXPECT_EQ(parseQuery("&&"), QueryItems{});
    for (const char* bad : {"a=%", "a=%1", "a=%g0", "a=1&a=2"}) {
        EXPECT_FALSE(parseQuery(bad).has_value()) << bad;
    }
}

TEST(Multipart, PartsOfEverySize) {
    const auto parts = readMultipart("Multipart/Form-Data; charset=x; Boundary=\"b b\"",
                                     "--b b\r\ncontent-disposition: form-data; name=empty\r\n\r\n\r\n--b b\r\n"
                                     "X: y\r\nContent-Disposition: form-data; name=\"two\"\r\n\r\n--b\r\n--b b--");
    ASSERT_TRUE(parts.has_value());
    ASSERT_EQ(parts->size(), 2U);
    EXPECT_EQ((*parts)[0].name + ":" + std::string((*parts)[0].bytes), "empty:");
    EXPECT_EQ((*parts)[1].name + ":" + std::string((*parts)[1].bytes), "two:--b");
    for (const char* bad :
         {"", "--b", "--b\r\n", "--b\r\n\r\n\r\n--b--", "--b\r\nContent-Disposition: form-data\r\n\r\n\r\n--b--",
          "--b\r\nContent-Disposition: form-data; name=\"x\r\n\r\n\r\n--b--", "-b--"}) {
        EXPECT_FALSE(readMultipart("multipart/form-data; boundary=b", bad).has_value()) << bad;
    }
}

}  // namespace
}  // namespace tolvik::server
