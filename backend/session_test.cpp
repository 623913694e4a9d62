#include "backend/session.h"

#include <gtest/gtest.h>

#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

class SessionTest : public testing::Test {
protected:
    MemoryValueStore values;
    FakeSecretStore secrets;
    Session session{values, secrets};
    int expired = 0;
    int changed = 0;
    Subscription onExpired = session.onExpired([this] { ++expired; });
    Subscription onChanged = session.onChanged([this] { ++changed; });
};

TEST_F(SessionTest, keepsTheTokenInTheSecretStoreOnly) {
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_EQ(secrets.reads, 0) << "whoever never signed in has no use for the secret store";
    ASSERT_TRUE(session.establish("s3cret", "u1", "ann@example.org", "Ann"));
    EXPECT_EQ(secrets.items.at("tolvik.auth.token"), "s3cret");
    const auto keys = values.keys().value();
    for (const auto& key : keys) {
        EXPECT_EQ((*values.get(key))->find("s3cret"), std::string::npos) << key;
    }
    Session restarted(values, secrets);
    EXPECT_TRUE(restarted.isSignedIn());
    EXPECT_TRUE(restarted.isSignedIn());
    EXPECT_EQ(restarted.currentToken(), "s3cret");
    EXPECT_EQ(secrets.reads, 1);
    EXPECT_EQ(restarted.userId() + restarted.email() + restarted.name(), "u1ann@example.orgAnn");
    EXPECT_EQ(changed, 0);
}

TEST_F(SessionTest, keepsNothingWhenTheTokenCannotBeKept) {
    secrets.problem = SecretProblem{"locked"};
    EXPECT_FALSE(session.establish("t", "u1", "ann@example.org", ""));
    EXPECT_EQ(session.email(), "");
    secrets.problem.reset();
    values.failure = StoreError::full;
    EXPECT_FALSE(session.establish("t", "u1", "ann@example.org", ""));
    EXPECT_TRUE(secrets.items.empty());
    EXPECT_FALSE(session.isSignedIn());
}

TEST_F(SessionTest, asksALockedSecretStoreAgainWhenTold) {
    ASSERT_TRUE(session.establish("t", "u1", "ann@example.org", ""));
    secrets.problem = SecretProblem{"locked"};
    Session restarted(values, secrets);
    EXPECT_FALSE(restarted.isSignedIn());
    EXPECT_EQ(restarted.problem(), "locked");
    secrets.problem.reset();
    const int reads = secrets.reads;
    EXPECT_FALSE(restarted.isSignedIn());
    EXPECT_EQ(secrets.reads, reads) << "each reading may put a question to the user";
    restarted.lookAgain();
    EXPECT_TRUE(restarted.isSignedIn());
    EXPECT_EQ(restarted.problem(), "");
}

TEST_F(SessionTest, readsAheadOnAWorker) {
    ASSERT_TRUE(session.establish("t", "u1", "ann@example.org", ""));
    FakeClock clock;
    VirtualMainLoop loop(clock);
    ImmediateWorkers workers;
    Session restarted(values, secrets);
    int changes = 0;
    const auto onChange = restarted.onChanged([&] { ++changes; });
    restarted.loadAhead(workers, loop);
    EXPECT_FALSE(restarted.isSignedIn()) << "nobody waits for it";
    loop.runPosted();
    EXPECT_TRUE(restarted.isSignedIn());
    EXPECT_EQ(changes, 1);
    {
        Session shortLived(values, secrets);
        shortLived.loadAhead(workers, loop);
    }
    Session signedOut(values, secrets);
    signedOut.loadAhead(workers, loop);
    signedOut.clear();
    loop.runPosted();
    EXPECT_FALSE(signedOut.isSignedIn()) << "what was read before does not come back";
}

TEST_F(SessionTest, looksAgainOnAWorkerWhereNobodyMayWait) {
    ASSERT_TRUE(session.establish("t", "u1", "ann@example.org", ""));
    FakeClock clock;
    VirtualMainLoop loop(clock);
    ImmediateWorkers workers;
    Session restarted(values, secrets);
    secrets.problem = SecretProblem{"locked"};
    restarted.loadAhead(workers, loop);
    loop.runPosted();
    EXPECT_EQ(restarted.problem(), "locked");
    secrets.problem.reset();
    const int reads = secrets.reads;
    restarted.lookAgainAhead();
    EXPECT_EQ(secrets.reads, reads + 1);
    EXPECT_FALSE(restarted.isSignedIn());
    EXPECT_EQ(secrets.reads, reads + 1) << "whoever asks meanwhile does not wait for the keyring";
    loop.runPosted();
    EXPECT_TRUE(restarted.isSignedIn());
    restarted.lookAgainAhead();
    EXPECT_EQ(secrets.reads, reads + 1) << "what is known is not asked for";
}

TEST_F(SessionTest, endsOnceForTheTokenThatWasRefused) {
    ASSERT_TRUE(session.establish("old", "u1", "ann@example.org", "Ann"));
    ASSERT_TRUE(session.establish("new", "u1", "ann@example.org", "Ann"));
    session.handleUnauthorized("old");
    EXPECT_TRUE(session.isSignedIn());
    EXPECT_EQ(expired, 0);

    session.handleUnauthorized("new");
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_TRUE(secrets.items.empty());
    EXPECT_EQ(session.email(), "ann@example.org") << "for the next sign-in";
    EXPECT_EQ(expired, 1);
    EXPECT_EQ(changed, 1);
    session.handleUnauthorized("new");
    session.handleUnauthorized(std::nullopt);
    EXPECT_EQ(expired, 1);

    ASSERT_TRUE(session.establish("t", "u1", "ann@example.org", "Ann"));
    session.handleUnauthorized(std::nullopt);
    EXPECT_EQ(expired, 2);
}

TEST_F(SessionTest, isGoneForThisProcessEvenWhenTheStoreCannotErase) {
    ASSERT_TRUE(session.establish("t", "u1", "ann@example.org", "Ann"));
    secrets.problem = SecretProblem{"locked"};
    session.clear();
    EXPECT_FALSE(session.isSignedIn());
    EXPECT_EQ(session.userId() + session.email() + session.name(), "");
}

}  // namespace
}  // namespace tolvik
