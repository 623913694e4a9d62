#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "adapters/system/system_random.h"
#include "backend/auth_service.h"
#include "backend/session.h"
#include "base/zone.h"
#include "services/log_services.h"
#include "sync/sync_outbox.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

/// A signed-in device with a task that the server does not know yet; nothing was sent so far.
class SignOutTest : public testing::Test {
protected:
    void SetUp() override {
        root = fs::path(testing::TempDir()) / ("sign-out-" + std::to_string(random.next()));
        Paths paths;
        paths.data = root / "share" / "Tolvik";
        paths.models = root / "models";
        paths.programs = root;
        auto opened =
            LogServices::open(paths, {.clock = clock,
                                      .timeZone = zone,
                                      .random = random,
                                      .loop = loop,
                                      .workers = workers,
                                      .http = &http,
                                      .secrets = &secrets,
                                      .backendUrl = [] { return std::optional<std::string>("https://api"); }});
        ASSERT_TRUE(opened);
        services = std::move(*opened);
        ASSERT_TRUE(services->session().establish("tok", "u1", "ann@example.org", "Ann"));
        services->goOnline();
        loop.runPosted();
        http.exchanges.clear();
        ASSERT_TRUE(services->store().createProject("Brivio"));
        services->store().startTask("write");
        ASSERT_GE(services->outbox().pendingCount(), 3U);
    }
    void TearDown() override {
        services.reset();
        fs::remove_all(root);
    }
    /// Method and path of what was sent, pulls and streams left out.
    [[nodiscard]] std::vector<std::string> sent() const {
        std::vector<std::string> out;
        for (const auto& exchange : http.exchanges) {
            if (exchange->request.method != "GET") {
                out.push_back(exchange->request.method + exchange->request.url.substr(11));
            }
        }
        return out;
    }

    FakeClock clock;
    const NamedTimeZone zone{"Europe/Helsinki"};
    SystemRandom random;
    VirtualMainLoop loop{clock};
    ImmediateWorkers workers;
    FakeHttpClient http{loop};
    FakeSecretStore secrets;
    fs::path root;
    std::unique_ptr<LogServices> services;
};

TEST_F(SignOutTest, WhatWaitsIsSentBeforeTheServerIsTold) {
    bool done = false;
    services->auth().signOut([&] { done = true; });
    http.reply(200, "{}");
    http.server = [](const HttpRequest&) { return FakeHttpClient::Answer(HttpResponse{200, {}, "{}"}); };
    loop.runFor(Millis{1000});
    EXPECT_TRUE(done);
    const auto all = sent();
    ASSERT_GE(all.size(), 4U);
    EXPECT_EQ(all.front(), "POST/tags");
    EXPECT_EQ(all.back(), "POST/auth/logout");
    EXPECT_EQ(std::ranges::count(all, "POST/auth/logout"), 1);
    EXPECT_FALSE(services->session().isSignedIn());
    EXPECT_TRUE(secrets.items.empty());
}

TEST_F(SignOutTest, ADeadNetworkHoldsItUpForFiveSecondsAndLosesNothing) {
    bool done = false;
    services->auth().signOut([&] { done = true; });
    http.server = [](const HttpRequest&) {
        return FakeHttpClient::Answer(failure(HttpFailure{HttpFailure::Kind::transport, "no network"}));
    };
    loop.runFor(Millis{4900});
    EXPECT_FALSE(done);
    loop.runFor(Millis{400});
    EXPECT_TRUE(done);
    EXPECT_FALSE(services->session().isSignedIn());
    const std::size_t before = http.exchanges.size();
    loop.runFor(Millis{600'000});
    EXPECT_EQ(http.exchanges.size(), before) << "nothing is sent for somebody who signed out";
    ASSERT_TRUE(services->session().establish("tok", "u1", "ann@example.org", "Ann"));
    EXPECT_GE(services->outbox().pendingCount(), 3U) << "it waits for the user's return";
}

}  // namespace
}  // namespace tolvik
