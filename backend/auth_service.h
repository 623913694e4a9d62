#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "base/result.h"

namespace tolvik {

/// The outcome of a successful verification.
struct VerifiedSession {
    std::string token;
    std::string userId;
    std::string email;
    /// Empty when the server sends none.
    std::string name;
};

/// Why an account operation failed. `describe` gives the text for the user.
struct AuthError {
    enum class Kind : std::uint8_t { rateLimited, server, invalidUrl, network };
    Kind kind = Kind::server;
    /// The text of `server`, the description of `network`.
    std::string message = {};
    /// 0 when no response was involved.
    int status = 0;
    /// Seconds, of `rateLimited`.
    std::optional<std::int64_t> retryAfter = {};

    bool operator==(const AuthError&) const = default;
};
[[nodiscard]] std::string describe(const AuthError& error);

/// What waits to be sent when the account changes: the composition lends the queue and whatever else follows it.
class AccountFollower {
public:
    AccountFollower() = default;
    AccountFollower(const AccountFollower&) = delete;
    AccountFollower& operator=(const AccountFollower&) = delete;
    virtual ~AccountFollower() = default;

    /// The session is established; log and queue become this user's. Nothing is announced yet. After a failure, whose
    /// text is for the user, the sign-in is taken back.
    [[nodiscard]] virtual Result<void, std::string> userSignedIn() = 0;
    /// Starts to send what is queued.
    virtual void flush() = 0;
    [[nodiscard]] virtual std::size_t pendingCount() = 0;
    /// The account is deleted: what is queued has nowhere to go.
    virtual void clearQueue() = 0;
    /// The session is gone: identities of analytics, the change stream, the store's signed-in state.
    virtual void signedOut() = 0;
};

/// Signs in by a code that is sent by e-mail, signs out, deletes the account. The only one that makes or clears the
/// session. One operation at a time: a newer one gives up the older. Main loop only.
class AuthService {
public:
    /// How long a sign-out waits for the queue to empty, and how often it looks.
    static constexpr Millis signOutPatience{5'000};
    static constexpr Millis signOutInterval{150};

    struct Ports {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        MainLoop& loop;
        const Clock& clock;
        AccountFollower& follower;
    };
    explicit AuthService(Ports ports) : ports_(ports) {}
    AuthService(const AuthService&) = delete;
    AuthService& operator=(const AuthService&) = delete;
    ~AuthService() = default;

    using Done = std::function<void(Result<void, AuthError>)>;
    using Verified = std::function<void(Result<VerifiedSession, AuthError>)>;

    /// Has a code sent to the address, which is taken as it stands.
    void sendCode(std::string_view email, Done done);
    /// Exchanges the code for a session and keeps it. A session that cannot be kept is revoked at the server.
    void verify(std::string_view email, std::string_view code, Verified done);
    /// Sends what is queued, as far as five seconds allow, tells the server, and ends the session here in any case.
    void signOut(std::function<void()> done);
    /// Deletes the account at the server; the log stays on the device.
    void deleteAccount(Done done);
    /// Ends the session here and announces it.
    void signOutLocally();

    [[nodiscard]] bool isBusy() const { return exchange_ != nullptr || waiting_.isPending(); }

private:
    using Answer = Result<HttpResponse, HttpFailure>;
    void begin();
    void send(HttpRequest request, std::function<void(Answer)> done);
    void later(Done done, AuthError error);
    /// Why the session could not be kept; none when it was.
    [[nodiscard]] std::optional<AuthError> establish(const VerifiedSession& verified);
    /// Tells the server that a token is no longer used; `done` follows whatever comes of it, within five seconds.
    void logout(const std::string& token, std::function<void()> done);
    void waitForQueue(Instant deadline, std::function<void()> done);

    Ports ports_;
    std::unique_ptr<HttpExchange> exchange_;
    /// A logout on its way; it is not given up for the next operation.
    std::unique_ptr<HttpExchange> farewell_;
    Timer waiting_;
};

}  // namespace tolvik
