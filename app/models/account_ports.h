#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "base/subscription.h"
#include "base/time.h"

namespace tolvik {

/// Where the changes of this device stand on their way to the server.
struct SyncState {
    std::size_t pending = 0;
    /// Why they wait ("Offline, will retry"); empty when nothing is wrong.
    std::string reason = {};
    /// When the server last had everything; none since it is not known.
    std::optional<Instant> lastSynced = {};
    /// The server cannot be reached.
    bool offline = false;
};

/// What the account and sign-in pages ask of the rest of the application. Main loop only; everything answers on the
/// main loop, and `done` of an operation is called once, with what went wrong as a text for the user, else empty.
class AccountGateway {
public:
    using Done = std::function<void(std::string problem)>;

    AccountGateway() = default;
    AccountGateway(const AccountGateway&) = delete;
    AccountGateway& operator=(const AccountGateway&) = delete;
    virtual ~AccountGateway() = default;

    /// Why no server can be asked at all ("No server is set."); empty when one can.
    [[nodiscard]] virtual std::string unavailable() const = 0;
    [[nodiscard]] virtual bool isSignedIn() const = 0;
    [[nodiscard]] virtual std::string email() const = 0;
    [[nodiscard]] virtual std::string name() const = 0;
    [[nodiscard]] virtual SyncState sync() const = 0;

    virtual void sendCode(const std::string& email, Done done) = 0;
    virtual void verify(const std::string& email, const std::string& code, Done done) = 0;
    /// Tries to send what waits, for some seconds, then ends the session whatever came of it.
    virtual void signOut(Done done) = 0;
    virtual void deleteAccount(Done done) = 0;
    virtual void changeName(const std::string& name, Done done) = 0;
    /// Sends what waits and fetches what is new, now.
    virtual void syncNow() = 0;

    /// Session, profile or sync state changed.
    virtual Subscription onChanged(std::function<void()> callback) = 0;
    /// The server refused a change, which was taken back; the text says which and why.
    virtual Subscription onRejected(std::function<void(std::string text)> callback) = 0;
};

}  // namespace tolvik
