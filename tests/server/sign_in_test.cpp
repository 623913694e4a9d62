#include <fstream>
#include <iterator>

#include "tests/server/server_fixture.h"

namespace tolvik::server {
namespace {

using testing::Contains;

class SignInTest : public ServerTest {
protected:
    std::string codeFor(const std::string& email) {
        const Reply sent = send("", "POST", "/auth/otp/send", Json{{"email", email}});
        EXPECT_EQ(sent.status, 200) << sent.body;
        return sent.outcome.mails.empty() ? "" : sent.outcome.mails.front().code;
    }
    Reply verify(const std::string& email, const std::string& code) {
        return send("", "POST", "/auth/otp/verify", Json{{"email", email}, {"code", code}});
    }
    static std::string otherThan(const std::string& code) { return code == "000000" ? "000001" : "000000"; }
};

TEST_P(SignInTest, ACodeOpensOneSessionOfOneAccount) {
    const std::string code = codeFor(" Ada@Example.org ");
    ASSERT_EQ(code.size(), 6U);
    const Reply first = verify("ada@example.org", code);
    ASSERT_EQ(first.status, 200) << first.body;
    EXPECT_EQ(first.body["user"]["email"], "ada@example.org");
    EXPECT_EQ(first.body["token"].get<std::string>().size(), 64U);
    EXPECT_EQ(verify("ada@example.org", code).status, 400) << "a code works once";

    const Reply second = verify("ada@example.org", codeFor("ada@example.org"));
    EXPECT_EQ(second.body["user"]["id"], first.body["user"]["id"]);
    EXPECT_NE(second.body["token"], first.body["token"]);

    const std::string token = first.body["token"];
    const Reply out = send(token, "POST", "/auth/logout");
    EXPECT_EQ(out.outcome.ended.size(), 1U);
    EXPECT_EQ(send(token, "GET", "/sync/pull").status, 401);
    EXPECT_EQ(send(second.body["token"].get<std::string>(), "GET", "/sync/pull").status, 200);
    EXPECT_EQ(send("", "POST", "/auth/logout").status, 200) << "the answer is ignored, so it tells nothing";
}

TEST_P(SignInTest, ACodeIsGoneAfterFiveTriesOrTenMinutes) {
    const std::string code = codeFor("a@b.c");
    for (int i = 0; i < 5; ++i) {
        const Reply wrong = verify("a@b.c", otherThan(code));
        EXPECT_EQ(wrong.status, 400);
        EXPECT_EQ(wrong.body["error"], "Invalid or expired code");
    }
    EXPECT_EQ(verify("a@b.c", code).status, 400) << "the right code comes too late";

    const std::string late = codeFor("a@b.c");
    clock.advance(Millis{10 * 60 * 1000});
    EXPECT_EQ(verify("a@b.c", late).status, 400);
    const std::string inTime = codeFor("a@b.c");
    clock.advance(Millis{10 * 60 * 1000 - 1});
    EXPECT_EQ(verify("a@b.c", inTime).status, 200);
}

TEST_P(SignInTest, GuessingEndsAtTheLimitWhateverIsGuessed) {
    int codes = 0;
    int checks = 0;
    for (int i = 0; i < 100; ++i) {
        const Reply sent = send("", "POST", "/auth/otp/send", Json{{"email", "a@b.c"}});
        codes += sent.status == 200 ? 1 : 0;
        const Reply tried = verify("a@b.c", "123456");
        checks += tried.status == 429 ? 0 : 1;
        for (const Reply* reply : {&sent, &tried}) {
            if (reply->status == 429) {
                EXPECT_THAT(reply->outcome.response.headers,
                            Contains(testing::Pair("Retry-After", testing::MatchesRegex("[0-9]+"))));
            }
        }
    }
    EXPECT_EQ(codes, 5);
    EXPECT_EQ(checks, 30);
    EXPECT_EQ(send("", "POST", "/auth/otp/send", Json{{"email", "other@b.c"}}).status, 200);
    clock.advance(Millis{15 * 60 * 1000});
    EXPECT_EQ(send("", "POST", "/auth/otp/send", Json{{"email", "a@b.c"}}).status, 200);
}

TEST_P(SignInTest, AKnownAddressIsAnsweredLikeAnUnknownOne) {
    signIn("known@b.c");
    const Reply known = send("", "POST", "/auth/otp/send", Json{{"email", "known@b.c"}});
    const Reply unknown = send("", "POST", "/auth/otp/send", Json{{"email", "unknown@b.c"}});
    EXPECT_EQ(known.outcome.response.body, unknown.outcome.response.body);
    EXPECT_EQ(known.outcome.response.headers, unknown.outcome.response.headers);
    EXPECT_EQ(verify("known@b.c", "1").outcome.response.body, verify("nobody@b.c", "1").outcome.response.body);
}

TEST_P(SignInTest, AddressesThatCouldSplitAMailsHeadAreRefused) {
    for (const char* address :
         {"", "a", "a@b", "@b.c", "a@", "a b@c.d", "a@b.c\r\nBcc: x@y.z", "a@b.c,x@y.z", "<a@b.c>", "a\u0000b@c.d"}) {
        const Reply reply = send("", "POST", "/auth/otp/send", Json{{"email", address}});
        EXPECT_EQ(reply.status, 400) << address;
        EXPECT_TRUE(reply.outcome.mails.empty());
    }
    EXPECT_EQ(send("", "POST", "/auth/otp/send", Json{{"email", "a.b@localhost"}}).status, 200);
    EXPECT_EQ(send("", "POST", "/auth/otp/send", Json{{"mail", "a@b.c"}}).status, 400);
    EXPECT_EQ(send("", "POST", "/auth/otp/send", "[]").status, 400);
    EXPECT_EQ(send("", "POST", "/auth/otp/send", "{").status, 400);
}

TEST_P(SignInTest, WhatIsStoredGivesNeitherCodesNorTokensAway) {
    const std::string code = codeFor("secret@b.c");
    const std::string token = verify("secret@b.c", code).body["token"];
    codeFor("secret@b.c");
    if (GetParam() != "sqlite") {
        return;
    }
    storage.reset();
    std::string all;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
        std::ifstream in(file.path(), std::ios::binary);
        all.append(std::istreambuf_iterator<char>(in), {});
    }
    EXPECT_NE(all.find("secret@b.c"), std::string::npos);
    EXPECT_EQ(all.find(token), std::string::npos);
    EXPECT_EQ(all.find("192.0.2.1"), std::string::npos);
}

TEST_P(SignInTest, NameAndProfileAreKeptAndGoWithTheAccount) {
    const std::string token = signIn("a@b.c");
    const std::string odd = std::string("Zo\u00eb \U0001F600 \"\\\n\0x", 15);
    EXPECT_EQ(send(token, "PUT", "/auth/me", Json{{"name", odd}}).status, 200);
    EXPECT_EQ(send(token, "PUT", "/auth/me", Json{{"name", 5}}).status, 400);
    EXPECT_EQ(send(token, "PUT", "/auth/me", Json{{"name", std::string(201, 'x')}}).status, 400);
    EXPECT_EQ(
        send(token, "POST", "/profile", Json{{"role", "engineer"}, {"useCase", "billing"}, {"source", nullptr}}).status,
        200);
    const Reply again = verify("a@b.c", codeFor("a@b.c"));
    EXPECT_EQ(again.body["user"]["name"], odd);

    const std::string mine = newId();
    EXPECT_EQ(send(token, "POST", "/tasks", task(mine)).status, 200);
    const Reply gone = send(token, "DELETE", "/auth/me");
    EXPECT_EQ(gone.status, 200);
    EXPECT_EQ(gone.outcome.ended, (std::vector<EndedSession>{{again.body["user"]["id"], ""}}));
    EXPECT_EQ(send(token, "GET", "/sync/pull").status, 401);
    EXPECT_EQ(send(again.body["token"].get<std::string>(), "GET", "/sync/pull").status, 401);

    const Reply anew = verify("a@b.c", codeFor("a@b.c"));
    EXPECT_NE(anew.body["user"]["id"], again.body["user"]["id"]);
    EXPECT_EQ(anew.body["user"]["name"], "");
    EXPECT_TRUE(pull(anew.body["token"].get<std::string>())["tasks"].empty());
}

INSTANTIATE_TEST_SUITE_P(On, SignInTest, testing::Values("sqlite", "postgres"),
                         [](const auto& one) { return std::string(one.param); });

}  // namespace
}  // namespace tolvik::server
