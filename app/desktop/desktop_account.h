#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/models/account_ports.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "services/log_services.h"

namespace tolvik {

/// The account of the desktop: what its pages ask for, carried out by the services, and the queue that is sent while
/// somebody is signed in. Main loop only.
class DesktopAccount final : public AccountGateway {
public:
    /// What is lent outlives it. Begins to read the session, on a worker: the secret store may wait for the user.
    DesktopAccount(LogServices& services, const Clock& clock, Workers& workers, MainLoop& loop);

    /// Sends, pulls and follows the server from now on, while somebody is signed in.
    void start();
    /// The window came to the front, the machine woke, the network is back: what waits is tried again.
    void wake();

    [[nodiscard]] std::string unavailable() const override;
    [[nodiscard]] bool isSignedIn() const override;
    [[nodiscard]] std::string email() const override;
    [[nodiscard]] std::string name() const override;
    [[nodiscard]] SyncState sync() const override;
    void sendCode(const std::string& email, Done done) override;
    void verify(const std::string& email, const std::string& code, Done done) override;
    void signOut(Done done) override;
    void deleteAccount(Done done) override;
    void changeName(const std::string& name, Done done) override;
    void syncNow() override;
    Subscription onChanged(std::function<void()> callback) override { return changed_.connect(std::move(callback)); }
    Subscription onRejected(std::function<void(std::string text)> callback) override {
        return rejected_.connect(std::move(callback));
    }

private:
    void queueChanged();

    LogServices& services_;
    const Clock& clock_;
    std::optional<Instant> lastSynced_;
    std::string lastRejection_;
    Signal<> changed_;
    Signal<std::string> rejected_;
    std::vector<Subscription> subscriptions_;
};

}  // namespace tolvik
