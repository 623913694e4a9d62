#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "backend/secret_store.h"
#include "base/main_loop.h"
#include "base/subscription.h"
#include "core/value_store.h"

namespace tolvik {

/// The signed-in user: the token in the secret store, id, e-mail and name among the settings. Main loop only.
class Session {
public:
    Session(ValueStore& values, SecretStore& secrets);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Waits for a reading on a worker that has begun.
    ~Session();

    /// The bearer token; none when there is none, it is empty or the secret store cannot be read. Kept in memory after
    /// the first reading, so that a request costs no bus call.
    [[nodiscard]] std::optional<std::string> currentToken();
    /// Why the secret store could not be read; empty when it could. It is not asked again by itself, because each time
    /// may ask the user to unlock it.
    [[nodiscard]] const std::string& problem() const { return problem_; }
    /// Reads the token on a worker, because the secret store may wait for the user to unlock it; `onChanged` follows.
    /// Until then nobody counts as signed in. Does nothing where the token is known already.
    void loadAhead(Workers& workers, MainLoop& loop);
    /// Forgets the problem: the next question for the token asks the secret store again, and whoever asks waits for it.
    void lookAgain() { problem_.clear(); }
    /// Likewise, and on the worker of `loadAhead` where that was called: nobody waits, and `onChanged` follows.
    void lookAgainAhead();
    /// True with a token and an e-mail.
    [[nodiscard]] bool isSignedIn();
    /// Empty when there is none. It stays after a session has expired, until a sign-out or the next sign-in.
    [[nodiscard]] std::string userId() const;
    [[nodiscard]] std::string email() const;
    [[nodiscard]] std::string name() const;

    /// Keeps the token, then the three settings, in that order; on failure nothing is kept. Emits nothing: the sign-in
    /// service does, after the outbox has followed.
    [[nodiscard]] Result<void, SecretProblem> establish(std::string_view token, std::string_view userId,
                                                        std::string_view email, std::string_view name);
    void setName(std::string_view name);
    /// Remembers that the account is deleted, for the log's next owner. Before `clear`.
    void noteDeletedAccount();
    /// Removes token and settings. Emits nothing.
    void clear();

    /// The one reaction to a 401: when `tokenUsed` is still the current token (or none is given and there is one), the
    /// token is removed, then `onExpired` and `onChanged` are emitted. The settings stay.
    void handleUnauthorized(std::optional<std::string_view> tokenUsed);

    /// The server refused the session ("tolvikSessionExpired").
    Subscription onExpired(std::function<void()> callback);
    /// Signed-in state changed ("tolvikAuthStateChanged").
    Subscription onChanged(std::function<void()> callback);
    void announceChange();

private:
    using Kept = Result<std::optional<std::string>, SecretProblem>;
    void forgetToken();
    void take(Kept kept);
    [[nodiscard]] bool wasEverSignedIn() const;

    ValueStore& values_;
    SecretStore& secrets_;
    /// What the secret store has, once it was read.
    std::optional<std::optional<std::string>> token_;
    std::string problem_;
    bool isLoading_ = false;
    /// What a worker reads with; it may come to its turn when the session is gone.
    struct Ahead {
        std::mutex mutex;
        Session* session = nullptr;
    };
    std::shared_ptr<Ahead> ahead_ = std::make_shared<Ahead>();
    std::function<void()> loadsAhead_;
    Signal<> expired_;
    Signal<> changed_;
};

}  // namespace tolvik
