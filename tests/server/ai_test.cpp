#include "tests/server/server_fixture.h"

namespace tolvik::server {
namespace {

class AiTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        if (IsSkipped() || HasFatalFailure()) {
            return;
        }
        token = signIn("a@b.c");
        const auto project = newId();
        auto tagged = tag(project);
        tagged["name"] = "Harbour";
        EXPECT_EQ(send(token, "POST", "/tags", tagged).status, 200);
        reading = newId();
        auto read = task(reading, "Reading");
        read["tagId"] = project;
        EXPECT_EQ(send(token, "POST", "/tasks", read).status, 200);
        // 23:30 to 00:30 in Helsinki, from the 8th to the 9th.
        auto late = entry(newId(), reading);
        late["startedAt"] = "2026-11-08T21:30:00.000Z";
        late["endedAt"] = "2026-11-08T22:30:00.000Z";
        late["durationMs"] = 3'600'000;
        EXPECT_EQ(send(token, "POST", "/time-entries", late).status, 200);
    }
    Reply ask(const std::string& question) {
        return send(token, "POST", "/ai/query", Json{{"question", question}}, zone);
    }

    std::string token;
    std::string reading;
    const std::vector<std::pair<std::string, std::string>> zone{{"x-tz", "Europe/Helsinki"}, {"x-tz-offset", "-120"}};
};

TEST_P(AiTest, AnswersInTheSendersZoneAndOnlyFromTheSendersLog) {
    const auto half = [&](int ms) { return Json::array({{{"taskId", reading}, {"timeMs", ms}}}); };
    EXPECT_EQ(ask("how much did I work yesterday?").body,
              (Json{{"answer", "On Monday 9 November 2026 you tracked 30 min, all on “Reading”."},
                    {"citations", half(1'800'000)}}));
    const Json asked{{"question", "how much did I work on 8 November?"}};
    EXPECT_EQ(send(token, "POST", "/ai/query", asked, {{"x-tz-offset", "-120"}}).body["citations"], half(1'800'000))
        << "a zone without a name";
    EXPECT_EQ(send(token, "POST", "/ai/query", asked, {{"x-tz", "UTC"}}).body["citations"], half(3'600'000));
    EXPECT_EQ(send(token, "GET", "/ai/summary/daily?date=2026-11-08", "", zone).body["stats"],
              (Json{{"totalMs", 1'800'000}, {"taskCount", 1}, {"focusBlocks", 1}, {"topProject", "Harbour"}}));
    EXPECT_EQ(send(token, "GET", "/ai/reports/narrative?from=2026-11-01&to=2026-11-30", "", zone).body["narrative"],
              "In November 2026 you tracked 1 h 00 min on 2 days and 1 task. Harbour took 1 h 00 min (100 %). The "
              "longest day was Sunday 8 November 2026 with 30 min.");

    const auto stranger = signIn("d@e.f");
    EXPECT_EQ(send(stranger, "POST", "/ai/query", Json{{"question", "how much did I work this month"}}, zone).body,
              (Json{{"answer", "From 1 to 10 November 2026, there is no time."}, {"citations", Json::array()}}));
    for (const auto* path :
         {"/ai/summary/daily?date=2026-11-08", "/ai/reports/narrative?from=2026-11-01&to=2026-11-30"}) {
        EXPECT_EQ(send("", "GET", path).status, 401);
    }
}

TEST_P(AiTest, RefusesWhatIsMalformed) {
    for (const auto* path :
         {"/ai/summary/daily", "/ai/summary/daily?date=2026-02-30", "/ai/reports/narrative?from=2026-01-01",
          "/ai/reports/narrative?from=2026-01-02&to=2026-01-01"}) {
        EXPECT_EQ(send(token, "GET", path, "", zone).status, 400) << path;
    }
    for (const auto& body : {Json{{"question", 1}}, Json{{"question", "  "}},
                             Json{{"question", std::string(1001, 'x')}}, Json::object()}) {
        EXPECT_EQ(send(token, "POST", "/ai/query", body, zone).status, 400);
    }
    EXPECT_EQ(send(token, "GET", "/ai/summary/daily?date=2026-11-08", "", {{"x-tz-offset", "9999"}}).status, 400);
}

TEST_P(AiTest, LetsTheModelPlanButNotCount) {
    EXPECT_TRUE(model.inputs.empty());
    const std::string odd = "hours spent with my nose in books around the weekend";
    const auto refused = ask(odd).body;
    EXPECT_EQ(refused["citations"], Json::array());
    ASSERT_EQ(model.inputs.size(), 1U);
    const auto input = Json::parse(model.inputs[0]);
    EXPECT_EQ(input["question"], odd);
    EXPECT_EQ(input["today"], "2026-11-10");
    EXPECT_EQ(input["tasks"], Json::array({"Reading"}));

    const std::string plan = "how much time on \\\"Reading\\\" from 2026-11-07 to 2026-11-08";
    model.answer = "Of course: {\"question\": \"" + plan + "\", \"answer\": \"99 hours\"}";
    EXPECT_EQ(ask(odd).body,
              (Json{{"answer",
                     "I read this as: how much time on \"Reading\" from 2026-11-07 to 2026-11-08. From 7 to 8 November "
                     "2026 you tracked 30 min on “Reading”."},
                    {"citations", Json::array({{{"taskId", reading}, {"timeMs", 1'800'000}}})}}));
    for (const char* bad :
         {"You worked 99 hours.", "{\"question\":null}", "{\"question\":\"you worked 99 hours\"}", "}{",
          "{\"answer\":\"99 h\"}", "{\"question\":\"how much time on \\\"Books\\\" last week\"}"}) {
        model.answer = std::string(bad);
        EXPECT_EQ(ask(odd).body, refused) << bad;
    }
    const auto calls = model.inputs.size();
    EXPECT_NE(ask("how much time on reading this month").body["citations"], Json::array());
    EXPECT_EQ(model.inputs.size(), calls) << "what the rules understand needs no model";
}

INSTANTIATE_TEST_SUITE_P(On, AiTest, testing::Values("sqlite", "postgres"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
}  // namespace tolvik::server
