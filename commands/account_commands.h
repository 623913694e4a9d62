#pragma once

#include <functional>
#include <memory>
#include <string>

#include "backend/auth_service.h"
#include "backend/profile_service.h"
#include "backend/session.h"
#include "base/main_loop.h"
#include "commands/command_message.h"
#include "sync/sync_outbox.h"

namespace tolvik {

/// `sign-in`, `sign-out`, `account` and `sync`. One at a time: a newer command ends the wait of an older one. Main loop
/// only.
class AccountCommands {
public:
    /// Whoever asks waits half a minute; it is told before that.
    static constexpr Millis patience{25'000};
    static constexpr Millis syncPatience{20'000};

    struct Ports {
        Session& session;
        AuthService& auth;
        ProfileService& profile;
        SyncOutbox& outbox;
        const BackendEndpoint& endpoint;
        MainLoop& loop;
        /// The queue is sent from now on.
        std::function<void()> goOnline;
        /// Fetches everything and tells whether that went well; empty where nothing is fetched.
        std::function<void(std::function<void(bool)>)> pullAll = {};
    };
    using Done = std::function<void(CommandResponse)>;

    explicit AccountCommands(Ports ports) : ports_(std::move(ports)) {}
    AccountCommands(const AccountCommands&) = delete;
    AccountCommands& operator=(const AccountCommands&) = delete;
    ~AccountCommands() = default;

    [[nodiscard]] static bool knows(const std::string& command);
    /// `done` is called once, perhaps later.
    void run(const CommandRequest& request, const Done& done);

private:
    /// Calls `done` once with what the operation answers, or with a refusal when that takes too long.
    [[nodiscard]] Done limited(const CommandRequest& request, Millis atMost, const Done& done);
    void signIn(const CommandRequest& request, const Done& done);
    void signOut(const CommandRequest& request, const Done& done);
    void account(const CommandRequest& request, const Done& done);
    void deleteAccount(const CommandRequest& request, const Done& done);
    void changeName(const CommandRequest& request, const Done& done);
    void sync(const CommandRequest& request, const Done& done);
    void syncOn();
    [[nodiscard]] CommandResponse state(const CommandRequest& request);
    [[nodiscard]] CommandResponse synced(const CommandRequest& request, bool pulled);
    [[nodiscard]] bool isConfigured() const;
    /// What a command that needs an account answers while nobody is signed in.
    [[nodiscard]] std::optional<CommandResponse> refusedSignedOut(const CommandRequest& request) const;

    Ports ports_;
    Timer limit_;
    Done current_;
    /// A `sync` under way: the queue first, then the pull.
    struct Round;
    std::shared_ptr<Round> round_;
};

}  // namespace tolvik
