#include "backend/auth_service.h"

#include <gtest/gtest.h>

#include "backend/profile_service.h"
#include "backend/sign_in_form.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

class FakeFollower final : public AccountFollower {
public:
    explicit FakeFollower(Session& session) : session_(session) {}
    [[nodiscard]] Result<void, std::string> userSignedIn() override {
        events += "in:" + session_.userId() + " ";
        if (!problem.empty()) {
            return failure(problem);
        }
        return {};
    }
    void flush() override { events += "flush "; }
    [[nodiscard]] std::size_t pendingCount() override { return pending; }
    void clearQueue() override { events += "clear "; }
    void signedOut() override { events += "out "; }

    std::string events;
    std::size_t pending = 0;
    /// Why the log cannot become the user's.
    std::string problem;

private:
    Session& session_;
};

class AuthServiceTest : public testing::Test {
protected:
    /// The text of the next failure; "ok" without one.
    template <class T>
    auto into(std::string& text) {
        return [&text](const Result<T, AuthError>& outcome) { text = outcome ? "ok" : describe(outcome.error()); };
    }
    std::string sendCode(int status, std::string body = {}, HttpHeaders headers = {}) {
        std::string text;
        auth.sendCode("ann@example.org", into<void>(text));
        http.reply(status, std::move(body), std::move(headers));
        loop.runPosted();
        return text;
    }
    std::string verify(int status, std::string body) {
        std::string text;
        auth.verify("ann@example.org", "123456", into<VerifiedSession>(text));
        http.reply(status, std::move(body));
        loop.runPosted();
        return text;
    }
    void signIn() { ASSERT_EQ(verify(200, R"({"token":"tok","user":{"id":"u1","email":"ann@example.org"}})"), "ok"); }

    FakeClock clock;
    VirtualMainLoop loop{clock};
    FakeHttpClient http{loop};
    MemoryValueStore values;
    FakeSecretStore secrets;
    std::string base = "https://api.example.org";
    BackendEndpoint endpoint{[this] { return base; }};
    Session session{values, secrets};
    FakeFollower follower{session};
    AuthService auth{{http, endpoint, session, loop, clock, follower}};
    ProfileService profile{http, endpoint, session};
};

TEST_F(AuthServiceTest, asksForACode) {
    EXPECT_EQ(sendCode(200), "ok");
    const HttpRequest& sent = http.last();
    EXPECT_EQ(sent.method + " " + sent.url, "POST https://api.example.org/auth/otp/send");
    EXPECT_EQ(sent.headers, (HttpHeaders{{"content-type", "application/json"}, {"x-client", "macos"}}));
    EXPECT_EQ(sent.body, R"({"email":"ann@example.org"})");
    EXPECT_EQ(sent.timeout, Millis{60'000});

    EXPECT_EQ(sendCode(429, {}, {{"Retry-After", " 30"}}), "Too many requests. Try again in 30s.");
    EXPECT_EQ(sendCode(429, {}, {{"retry-after", "soon"}}), "Too many requests. Please wait a moment and try again.");
    EXPECT_EQ(sendCode(500, R"({"error":"Mail is down","code":"E"})"), "Mail is down");
    EXPECT_EQ(sendCode(500, "<html>"), "Failed to send code (HTTP 500)");
    EXPECT_EQ(sendCode(201), "Failed to send code (HTTP 201)") << "success is 200 exactly";
    std::string text;
    auth.sendCode("ann@example.org", into<void>(text));
    http.fail("the server could not be reached");
    loop.runPosted();
    EXPECT_EQ(text, "Network error: the server could not be reached");

    // Without a token any connection will do; without an address there is none.
    base = "http://localhost:1";
    EXPECT_EQ(sendCode(200), "ok");
    base = "https://a b";
    const auto before = http.exchanges.size();
    auth.sendCode("ann@example.org", into<void>(text));
    EXPECT_TRUE(auth.isBusy());
    loop.runFor(Millis{0});
    EXPECT_EQ(text, "Invalid backend URL.");
    EXPECT_FALSE(auth.isBusy());
    EXPECT_EQ(http.exchanges.size(), before);
}

TEST_F(AuthServiceTest, keepsTheSessionThenTellsTheQueueThenEveryone) {
    const auto onChanged = session.onChanged([&] { follower.events += "changed "; });
    EXPECT_EQ(verify(200, R"({"token":"tok","user":{"id":"u1","email":"ann@example.org","name":"Ann"}})"), "ok");
    EXPECT_EQ(http.last().url, "https://api.example.org/auth/otp/verify");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"content-type", "application/json"}}));
    EXPECT_EQ(http.last().body, R"({"email":"ann@example.org","code":"123456"})");
    EXPECT_EQ(follower.events, "in:u1 changed ");
    EXPECT_TRUE(session.isSignedIn());
    EXPECT_EQ(session.name(), "Ann");
    // The id may be missing.
    EXPECT_EQ(verify(200, R"({"token":"tok2","user":{"email":"ann@example.org"}})"), "ok");
    EXPECT_EQ(session.userId() + session.name(), "");
}

TEST_F(AuthServiceTest, refusesAnswersThatAreNoSession) {
    EXPECT_EQ(verify(400, R"({"error":"Code expired"})"), "Code expired");
    EXPECT_EQ(verify(401, ""), "Invalid or expired code");
    for (const char* body : {"", "[]", "{}", R"({"token":1,"user":{}})", R"({"token":"t"})",
                             R"({"token":"t","user":"ann"})", R"({"token":"","user":{"email":"a@b.c"}})"}) {
        EXPECT_EQ(verify(200, body), "Invalid or expired code") << body;
    }
    EXPECT_EQ(follower.events, "");
    EXPECT_FALSE(session.isSignedIn());
}

TEST_F(AuthServiceTest, revokesASessionThatCannotBeKept) {
    secrets.problem = SecretProblem{"Install a keyring."};
    std::string text;
    const auto refuse = [&](const std::string& body) {
        auth.verify("ann@example.org", "123456", into<VerifiedSession>(text));
        http.reply(200, body);
        loop.runPosted();
        EXPECT_EQ(text, "") << "the answer waits for the farewell";
        http.fail();
        loop.runPosted();
        return std::exchange(text, "");
    };
    EXPECT_EQ(refuse(R"({"token":"tok","user":{"id":"u1","email":"ann@example.org"}})"),
              "Signed in, but the session could not be saved to the Keychain.\nInstall a keyring.");
    EXPECT_EQ(http.last().url, "https://api.example.org/auth/logout");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().timeout, Millis{5'000});
    EXPECT_EQ(session.email() + follower.events, "");

    secrets.problem.reset();
    follower.problem = "The disk is full.";
    EXPECT_EQ(refuse(R"({"token":"tok2","user":{"id":"u2","email":"bea@example.org"}})"), "The disk is full.");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"authorization", "Bearer tok2"}}));
    EXPECT_TRUE(secrets.items.empty());
    EXPECT_EQ(session.userId(), "");
}

TEST_F(AuthServiceTest, signsOutOnceTheQueueIsEmptyOrFiveSecondsArePast) {
    signIn();
    follower.events.clear();
    follower.pending = 2;
    bool done = false;
    auth.signOut([&] { done = true; });
    loop.runFor(Millis{300});
    EXPECT_EQ(follower.events, "flush ");
    follower.pending = 0;
    loop.runFor(AuthService::signOutInterval);
    EXPECT_EQ(http.last().url, "https://api.example.org/auth/logout");
    EXPECT_FALSE(done);
    http.fail();
    loop.runPosted();
    EXPECT_TRUE(done) << "whatever the server says";
    EXPECT_EQ(follower.events, "flush out ");
    EXPECT_EQ(session.email(), "");

    signIn();
    follower.pending = 1;
    const auto before = http.exchanges.size();
    const Instant start = clock.now();
    auth.signOut([&] { done = true; });
    for (done = false; http.exchanges.size() == before;) {
        loop.runFor(Millis{50});
        ASSERT_LT(clock.now(), start + Millis{6'000});
    }
    EXPECT_GE(clock.now(), start + Millis{5'000});
    // Over plain HTTP the farewell carries no token.
    signIn();
    follower.pending = 0;
    base = "http://localhost:1";
    auth.signOut([] {});
    EXPECT_EQ(http.last().url, "http://localhost:1/auth/logout");
    EXPECT_TRUE(http.last().headers.empty());
}

TEST_F(AuthServiceTest, deletesTheAccount) {
    std::string text;
    const auto remove = [&](int status) {
        auth.deleteAccount(into<void>(text));
        http.reply(status);
        loop.runPosted();
        return text;
    };
    auth.deleteAccount(into<void>(text));
    loop.runFor(Millis{0});
    EXPECT_EQ(text, "Not signed in.");
    signIn();
    base = "http://localhost:1";
    const auto before = http.exchanges.size();
    auth.deleteAccount(into<void>(text));
    loop.runFor(Millis{0});
    EXPECT_EQ(text, "Refusing to send credentials over an insecure connection.");
    EXPECT_EQ(http.exchanges.size(), before);
    base = "https://api.example.org";

    EXPECT_EQ(remove(503), "Could not delete the account (HTTP 503).");
    EXPECT_TRUE(session.isSignedIn());
    follower.events.clear();
    EXPECT_EQ(remove(204), "ok");
    EXPECT_EQ(http.last().method + " " + http.last().url, "DELETE https://api.example.org/auth/me");
    EXPECT_EQ(http.last().headers, (HttpHeaders{{"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().timeout, Millis{10'000});
    EXPECT_EQ(follower.events, "clear out ");
    EXPECT_FALSE(session.isSignedIn());
    signIn();
    EXPECT_EQ(remove(401), "Could not delete the account (HTTP 401).");
    EXPECT_FALSE(session.isSignedIn()) << "a refused token ends the session";
}

TEST_F(AuthServiceTest, changesTheName) {
    std::string text;
    int changed = 0;
    const auto onChanged = profile.onChanged([&] { ++changed; });
    const auto change = [&](const std::string& name) {
        profile.changeName(name, [&](const Result<void, std::string>& done) { text = done ? "ok" : done.error(); });
    };
    const auto answered = [&](int status) {
        http.reply(status);
        loop.runPosted();
        return text;
    };
    change("Ann");
    EXPECT_EQ(text, "Sign in again to change your name.");
    EXPECT_TRUE(http.exchanges.empty());
    signIn();
    change(" Ann Ö \n");
    EXPECT_EQ(http.last().method + " " + http.last().url, "PUT https://api.example.org/auth/me");
    EXPECT_EQ(http.last().headers,
              (HttpHeaders{{"content-type", "application/json"}, {"authorization", "Bearer tok"}}));
    EXPECT_EQ(http.last().body, R"({"name":"Ann Ö"})");
    EXPECT_EQ(answered(403), "Couldn't save your name (HTTP 403). Please try again.");
    EXPECT_EQ(session.name() + std::to_string(changed), "0");
    change("Ann");
    http.fail("the server could not be reached");
    loop.runPosted();
    EXPECT_EQ(text, "Couldn't save your name: the server could not be reached");
    change(" Ann Ö \n");
    EXPECT_EQ(answered(200), "ok");
    EXPECT_EQ(session.name() + std::to_string(changed), "Ann Ö1");
    base = "http://localhost:1";
    const auto before = http.exchanges.size();
    change("Bea");
    EXPECT_EQ(http.exchanges.size(), before);
    EXPECT_EQ(session.name(), "Ann Ö");
}

TEST(SignInForm, takesAddressesAndCodesAsPeopleEnterThem) {
    EXPECT_EQ(acceptedEmail(" \tann@example.org "), "ann@example.org");
    EXPECT_EQ(acceptedEmail("a.b@host"), "a.b@host");
    for (const char* bad : {"", "  ", "ann@host", "example.org"}) {
        EXPECT_EQ(acceptedEmail(bad), std::nullopt) << bad;
    }
    EXPECT_EQ(codeDigits("12 34-56"), "123456");
    EXPECT_EQ(codeDigits("12345678"), "123456");
    EXPECT_EQ(codeDigits("code 12"), "12");
    EXPECT_EQ(signOutQuestion(0), "You'll need to sign in again to sync.");
    EXPECT_EQ(signOutQuestion(1),
              "We'll try to send 1 unsynced change first; anything that can't be sent waits for your next sign-in on "
              "this Mac. You'll need to sign in again to sync.");
    EXPECT_NE(signOutQuestion(2).find("2 unsynced changes first;"), std::string::npos);
}

}  // namespace
}  // namespace tolvik
