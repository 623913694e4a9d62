#include "backend/profile_answers.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

class ProfileAnswersTest : public testing::Test {
protected:
    void save(const ProfileAnswers& answers) { ASSERT_TRUE(saveProfileAnswers(values, answers)); }
    void signIn() {
        ASSERT_TRUE(session.establish("tok", "u1", "ann@example.org", "Ann"));
        session.announceChange();
    }
    [[nodiscard]] bool isOwed() const { return values.flag(profileSetting::pendingSync, false); }

    FakeClock clock;
    VirtualMainLoop loop{clock};
    FakeHttpClient http{loop};
    MemoryValueStore values;
    FakeSecretStore secrets;
    BackendEndpoint endpoint{[] { return std::string("https://api.example.org"); }};
    Session session{values, secrets};
    ProfileAnswersUpload upload{{values, http, endpoint, session}};
};

TEST_F(ProfileAnswersTest, owesTheServerOnlyWhatWasAnswered) {
    save({});
    EXPECT_FALSE(isOwed());
    signIn();
    EXPECT_TRUE(http.exchanges.empty());
    save({.source = "friend"});
    EXPECT_TRUE(isOwed());
    EXPECT_EQ(profileAnswersIn(values), (ProfileAnswers{.source = "friend"}));
}

TEST_F(ProfileAnswersTest, sendsThemAtTheSignInAndOnceOnly) {
    save({.role = "engineer", .useCase = "billing"});
    upload.sync();
    EXPECT_TRUE(http.exchanges.empty()) << "nobody is signed in";
    signIn();
    upload.sync();
    ASSERT_EQ(http.exchanges.size(), 1U) << "the first is still on its way";
    const HttpRequest& sent = http.last();
    EXPECT_EQ(sent.method + " " + sent.url, "POST https://api.example.org/profile");
    EXPECT_EQ(sent.body, R"({"role":"engineer","useCase":"billing","source":""})");
    EXPECT_EQ(sent.timeout, Millis{60'000});
    http.reply(200, R"({"ok":true})");
    loop.runPosted();
    EXPECT_FALSE(isOwed());
    upload.sync();
    EXPECT_EQ(http.exchanges.size(), 1U);
}

TEST_F(ProfileAnswersTest, staysOwedUntilTheServerHasTheLatest) {
    save({.role = "engineer"});
    signIn();
    http.fail();
    loop.runPosted();
    EXPECT_TRUE(isOwed());
    upload.sync();
    http.reply(503);
    loop.runPosted();
    EXPECT_TRUE(isOwed());
    upload.sync();
    save({.role = "designer"});
    http.reply(200);
    loop.runPosted();
    EXPECT_TRUE(isOwed()) << "the server has the older answer";
    ASSERT_EQ(http.exchanges.size(), 4U);
    EXPECT_NE(http.last().body->find("designer"), std::string::npos);
    http.reply(401);
    loop.runPosted();
    EXPECT_TRUE(isOwed());
    EXPECT_FALSE(session.isSignedIn());
}

}  // namespace
}  // namespace tolvik
