#include "telemetry/telemetry.h"

#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class TelemetryTest : public testing::Test {
protected:
    TelemetryTest() { restart(); }
    ~TelemetryTest() override { std::filesystem::remove_all(folder); }

    void restart() {
        telemetry.reset();
        telemetry = std::make_unique<Telemetry>(
            Telemetry::Ports{values, {endpoint, session, http}, loop, clock, random, folder, "FI", "0.1.0", workers});
    }
    void track(int times) {
        for (int i = 0; i < times; ++i) {
            telemetry->track("opened");
        }
        loop.runPosted();
    }
    static VoiceEvent spoken(std::string transcript) {
        VoiceEvent event;
        event.transcript = std::move(transcript);
        return event;
    }
    void signIn() { ASSERT_TRUE(session.establish("t0ken", "u1", "ann@example.org", "Ann")); }
    std::string file(std::string_view name) {
        std::ifstream stream(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("tolvik-telemetry-" + std::to_string(::getpid())) / "Tolvik";
    FakeClock clock;  // 2026-11-10T10:00:00Z
    FakeRandom random;
    VirtualMainLoop loop{clock};
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    std::string base = "https://tolvik.example";
    BackendEndpoint endpoint{[this] { return base; }};
    FakeHttpClient http{loop};
    Workers* workers = nullptr;
    std::unique_ptr<Telemetry> telemetry;
};

/// Workers that rest until they are told to work.
class LateWorkers final : public Workers {
public:
    void run(std::function<void()> job) override { jobs.push_back(std::move(job)); }
    void work() {
        for (auto& job : std::exchange(jobs, {})) {
            job();
        }
    }
    std::vector<std::function<void()>> jobs;
};

constexpr auto kProductFile = "product-analytics-buffer.json";
constexpr auto kVoiceFile = "voice-analytics-buffer.json";

TEST_F(TelemetryTest, recordsAndSendsNothingUntilYes) {
    signIn();
    track(12);
    telemetry->record({});
    loop.runPosted();
    telemetry->flush();
    telemetry->save();
    EXPECT_EQ(telemetry->consent(), Consent::notAsked);
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_TRUE(http.exchanges.empty());
    EXPECT_EQ(values.text("tolvik.analytics.anonId"), "");
    EXPECT_EQ(telemetry->voiceCounts().totalCalls, 0);
}

TEST_F(TelemetryTest, forgetsEverythingAtNo) {
    signIn();
    ASSERT_TRUE(telemetry->setConsent(true));
    const auto before = values.text("tolvik.analytics.anonId");
    EXPECT_NE(before, "");
    track(10);
    telemetry->record({});
    loop.runPosted();
    ASSERT_EQ(http.exchanges.size(), 1U);
    ASSERT_TRUE(telemetry->setConsent(false));
    EXPECT_TRUE(http.exchanges[0]->isCancelled);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    EXPECT_EQ(values.text("tolvik.analytics.anonId"), "");
    track(1);
    EXPECT_EQ(telemetry->previewBytes().product + telemetry->previewBytes().voice, "");
    restart();
    EXPECT_EQ(telemetry->consent(), Consent::no);
    ASSERT_TRUE(telemetry->setConsent(true));
    EXPECT_NE(values.text("tolvik.analytics.anonId"), before);
}

TEST_F(TelemetryTest, followsAnAnswerGivenElsewhere) {
    ASSERT_TRUE(telemetry->setConsent(true));
    track(3);
    ASSERT_TRUE(setConsent(values, folder, false)) << "as the command line does";
    telemetry->save();
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "the end of the application brings nothing back";
    track(1);
    EXPECT_EQ(telemetry->previewBytes().product, "");
    ASSERT_TRUE(setConsent(values, folder, true));
    track(1);
    EXPECT_THAT(telemetry->previewBytes().product, HasSubstr("opened"));
}

TEST_F(TelemetryTest, writesItsFilesOnWorkersAndNoneAfterNo) {
    LateWorkers late;
    workers = &late;
    restart();
    ASSERT_TRUE(telemetry->setConsent(true));
    track(3);
    EXPECT_EQ(late.jobs.size(), 1U) << "of three states the last is written";
    EXPECT_EQ(file(kProductFile), "");
    late.work();
    const auto written = file(kProductFile);
    EXPECT_EQ(R"({"events":)" + written + "}", telemetry->previewBytes().product);
    track(1);
    ASSERT_TRUE(telemetry->setConsent(false));
    late.work();
    EXPECT_TRUE(std::filesystem::is_empty(folder)) << "what was under way does not appear later";
    ASSERT_TRUE(telemetry->setConsent(true));
    track(1);
    telemetry.reset();
    late.work();
    EXPECT_THAT(file(kProductFile), StartsWith(R"([{"id":")"));
}

TEST_F(TelemetryTest, leavesNothingForTheNextUser) {
    signIn();
    ASSERT_TRUE(telemetry->setConsent(true));
    const auto before = values.text("tolvik.analytics.anonId");
    telemetry->record(spoken("start the secret project"));
    track(1);
    session.clear();
    telemetry->userSignedOut();
    EXPECT_EQ(telemetry->previewBytes().product + telemetry->previewBytes().voice, "");
    EXPECT_THAT(file(kVoiceFile), Not(HasSubstr("secret")));
    EXPECT_EQ(telemetry->consent(), Consent::yes);
    track(1);
    EXPECT_NE(values.text("tolvik.analytics.anonId"), before);
    EXPECT_THAT(telemetry->previewBytes().product, HasSubstr(values.text("tolvik.analytics.anonId")));
}

TEST_F(TelemetryTest, writesAnEventInItsForm) {
    ASSERT_TRUE(telemetry->setConsent(true));
    const auto name = std::string(60, 'n') + "öäüßx";
    telemetry->track(name, {{"b", true}, {"a", std::int64_t{3}}, {"c", 0.5}, {"d", "x\""}, {"e", nullptr}});
    telemetry->track("at", {{"when", clock.now()}});
    telemetry->track("much", {{"n", std::numeric_limits<double>::infinity()}});
    loop.runPosted();
    const auto bytes = telemetry->previewBytes().product;
    EXPECT_THAT(bytes, StartsWith(R"({"events":[{"id":")"));
    EXPECT_THAT(
        bytes, HasSubstr(R"(","ts":"2026-11-10T10:00:00Z","platform":"macos","event":")" + std::string(60, 'n') +
                         R"(öäüß","propsJSON":"{\"a\":3,\"b\":true,\"c\":0.5,\"d\":\"x\\\"\",\"e\":null}","anonId":")" +
                         values.text("tolvik.analytics.anonId") + R"(","sessionId":")"));
    EXPECT_THAT(bytes, HasSubstr(R"("event":"at","propsJSON":"",)"));
    EXPECT_THAT(bytes, HasSubstr(R"("event":"much","propsJSON":"",)"));
    EXPECT_TRUE(bytes.ends_with(R"("region":"FI","appVersion":"0.1.0"}]})"));

    telemetry->record({clock.now(), "start tea", "start", "Tea", "regex", 0.9, true, false, 12, 340, std::nullopt});
    loop.runPosted();
    EXPECT_THAT(telemetry->previewBytes().voice,
                HasSubstr(R"(","timestamp":"2026-11-10T10:00:00.000Z","transcript":"start tea","action":"start",)"
                          R"("taskTitle":"Tea","method":"regex","confidence":0.9,"resolvedLocally":true,)"
                          R"("llmFallback":false,"latencyMs":12,"transcribeMs":340}]})"));
    EXPECT_EQ(telemetry->voiceCounts().localResolved, 1);
}

TEST_F(TelemetryTest, sendsWhatItShows) {
    ASSERT_TRUE(telemetry->setConsent(true));
    track(9);
    signIn();
    EXPECT_TRUE(http.exchanges.empty());
    telemetry->track("tenth");
    base = "http://localhost";
    loop.runPosted();
    EXPECT_TRUE(http.exchanges.empty()) << "not HTTPS";
    base = "https://tolvik.example";
    const auto shown = telemetry->previewBytes().product;
    EXPECT_EQ(shown, previewIn(folder).product) << "the file holds the same";
    telemetry->flush();
    ASSERT_EQ(http.exchanges.size(), 1U);
    EXPECT_EQ(http.last().body, shown);
    EXPECT_EQ(http.last().method + " " + http.last().url, "POST https://tolvik.example/analytics/ingest");
    EXPECT_EQ(http.last().headers,
              (HttpHeaders{{"content-type", "application/json"}, {"authorization", "Bearer t0ken"}}));
    track(1);
    telemetry->flush();
    ASSERT_EQ(http.exchanges.size(), 2U);
    EXPECT_THAT(*http.last().body, testing::Not(HasSubstr("tenth"))) << "what is on its way is not sent again";

    http.finish(http.exchanges[0], HttpResponse{200, {}, "{}"});
    http.finish(http.exchanges[1], HttpResponse{500, {}, ""});
    loop.runPosted();
    EXPECT_EQ(telemetry->previewBytes().product, *http.exchanges[1]->request.body);
    restart();
    EXPECT_EQ(telemetry->previewBytes().product, *http.exchanges[1]->request.body) << "kept across launches";
}

TEST_F(TelemetryTest, keepsTheNewestAndPassesOverADamagedFile) {
    ASSERT_TRUE(telemetry->setConsent(true));
    for (int i = 0; i < 505; ++i) {
        telemetry->record(spoken(std::to_string(i)));
    }
    loop.runPosted();
    EXPECT_THAT(file(kVoiceFile), HasSubstr(R"("transcript":"504")"));
    EXPECT_THAT(file(kVoiceFile), HasSubstr(R"("transcript":"5")"));
    EXPECT_THAT(file(kVoiceFile), testing::Not(HasSubstr(R"("transcript":"4")")));
    for (const auto* damage : {"", "[{", "{}", R"([{"id":"a"}])", R"([{"id":1}])", "[1]"}) {
        std::ofstream(folder / kProductFile) << damage;
        restart();
        EXPECT_EQ(telemetry->previewBytes().product, "") << damage;
    }
    track(1);
    EXPECT_THAT(file(kProductFile), StartsWith(R"([{"id":")"));
}

}  // namespace
}  // namespace tolvik
