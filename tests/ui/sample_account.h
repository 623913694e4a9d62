#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/models/account_ports.h"

namespace tolvik {

/// An account whose server the test plays: requests wait in `asked` until `answer` is called.
class SampleAccount final : public AccountGateway {
public:
    [[nodiscard]] std::string unavailable() const override { return noServer; }
    [[nodiscard]] bool isSignedIn() const override { return signedIn; }
    [[nodiscard]] std::string email() const override { return "maren@holt.example"; }
    [[nodiscard]] std::string name() const override { return userName; }
    [[nodiscard]] SyncState sync() const override { return state; }

    void sendCode(const std::string& address, Done done) override { ask("code " + address, std::move(done)); }
    void verify(const std::string& address, const std::string& code, Done done) override {
        ask("verify " + address + " " + code, [this, done = std::move(done)](const std::string& problem) {
            signedIn = problem.empty();
            done(problem);
        });
    }
    void signOut(Done done) override {
        ask("sign out", [this, done = std::move(done)](const std::string& problem) {
            signedIn = false;
            done(problem);
        });
    }
    void deleteAccount(Done done) override {
        ask("delete", [this, done = std::move(done)](const std::string& problem) {
            signedIn = !problem.empty();
            done(problem);
        });
    }
    void changeName(const std::string& wanted, Done done) override {
        ask("name " + wanted, [this, wanted, done = std::move(done)](const std::string& problem) {
            userName = problem.empty() ? wanted : userName;
            done(problem);
        });
    }
    void syncNow() override { asked.emplace_back("sync"); }
    Subscription onChanged(std::function<void()> callback) override { return changed.connect(std::move(callback)); }
    Subscription onRejected(std::function<void(std::string)> callback) override {
        return rejected.connect(std::move(callback));
    }

    /// Answers the request that was made last.
    void answer(const std::string& problem = {}) {
        if (const auto done = std::exchange(waiting_, {})) {
            done(problem);
        }
    }
    void set(const SyncState& next) {
        state = next;
        changed.emit();
    }

    std::string noServer;
    bool signedIn = false;
    std::string userName = "Maren Holt";
    SyncState state;
    std::vector<std::string> asked;
    Signal<> changed;
    Signal<std::string> rejected;

private:
    void ask(std::string what, Done done) {
        asked.push_back(std::move(what));
        waiting_ = std::move(done);
    }
    Done waiting_;
};

}  // namespace tolvik
