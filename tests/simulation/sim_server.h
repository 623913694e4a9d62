#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "adapters/sqlite_server/sqlite_storage.h"
#include "core/record_json.h"
#include "server/api/server_app.h"
#include "sync/pull_response.h"
#include "tests/fakes/fake_clock.h"

namespace tolvik::sim {

/// A clock that is wrong by a constant.
class SkewedClock final : public Clock {
public:
    SkewedClock(const Clock& real, Millis skew) : real_(real), skew_(skew) {}
    [[nodiscard]] Instant now() const override { return real_.now() + skew_; }

private:
    const Clock& real_;
    Millis skew_;
};

/// Something that must not be so; ends the run of its seed.
struct Violation {
    std::string what;
};

/// The real handlers on a database in memory, and beside them a simple account of what they must have come to: each
/// operation counts once, in the order in which it was first carried out.
class SimServer {
public:
    SimServer(const Clock& real, Millis skew, std::uint64_t seed);

    [[nodiscard]] server::Response handle(const server::Request& request);
    /// A new process over the same database.
    void restart();
    struct SignIn {
        std::string token;
        std::string userId;
    };
    [[nodiscard]] std::optional<SignIn> signIn(const std::string& email);
    void revoke(const std::string& token);

    [[nodiscard]] std::optional<server::Caller> callerOf(const server::Request& request);
    /// Hears of announcements and of ended sessions (the bool).
    std::function<void(const std::string& userId, const std::string& deviceId, bool ended)> onEvent;

    /// Everything of a token's user, through the pull handler.
    [[nodiscard]] PullResponse everything(const std::string& token);
    /// Throws when the server's records are not what the operations come to.
    void checkAccount(const std::string& userId, const std::string& token);

    [[nodiscard]] const Clock& clock() const { return clock_; }
    bool isUp = true;

private:
    struct Known {
        bool isLive = false;
        std::string kind;
        std::string task;
        /// Texts that nobody but an operation changes.
        std::map<std::string, std::string> texts;
    };
    void account(const server::Request& request, int status);

    SkewedClock clock_;
    FakeRandom random_;
    std::unique_ptr<server::SqliteStorage> storage_;
    std::unique_ptr<server::ServerApp> app_;
    std::map<std::string, std::set<std::string>> carriedOut_;
    std::map<std::string, std::map<std::string, Known>> records_;
};

}  // namespace tolvik::sim
