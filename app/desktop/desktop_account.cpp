#include "app/desktop/desktop_account.h"

#include <utility>

#include "backend/auth_service.h"
#include "backend/profile_service.h"
#include "sync/sync_outbox.h"
#include "sync/sync_service.h"

namespace tolvik {

DesktopAccount::DesktopAccount(LogServices& services, const Clock& clock, Workers& workers, MainLoop& loop)
    : services_(services), clock_(clock) {
    services.session().loadAhead(workers, loop);
    subscriptions_.push_back(services.session().onChanged([this] {
        if (!services_.session().isSignedIn()) {
            lastSynced_.reset();
        }
        changed_.emit();
    }));
    subscriptions_.push_back(services.profile().onChanged([this] { changed_.emit(); }));
    subscriptions_.push_back(services.outbox().onChanged([this] { queueChanged(); }));
    subscriptions_.push_back(services.outbox().onDrained([this] { lastSynced_ = clock_.now(); }));
}

void DesktopAccount::start() {
    services_.goOnline();
}

void DesktopAccount::wake() {
    if (SyncService* sync = services_.sync(); sync != nullptr && services_.session().isSignedIn()) {
        sync->becameActive();
    }
}

void DesktopAccount::queueChanged() {
    std::string rejection = services_.outbox().lastRejection().value_or("");
    if (rejection != lastRejection_) {
        lastRejection_ = rejection;
        if (!rejection.empty()) {
            rejected_.emit(std::move(rejection));
        }
    }
    changed_.emit();
}

std::string DesktopAccount::unavailable() const {
    return services_.endpoint().isConfigured() ? std::string()
                                               : "No server is set. Write TOLVIK_BACKEND_URL=https://… into "
                                                 "~/.config/Tolvik/tolvik.conf.";
}

bool DesktopAccount::isSignedIn() const {
    return services_.session().isSignedIn();
}

std::string DesktopAccount::email() const {
    return isSignedIn() ? services_.session().email() : std::string();
}

std::string DesktopAccount::name() const {
    return isSignedIn() ? services_.session().name() : std::string();
}

SyncState DesktopAccount::sync() const {
    const auto& reason = services_.outbox().parkedReason();
    return {.pending = services_.outbox().pendingCount(),
            .reason = reason.value_or(""),
            .lastSynced = lastSynced_,
            .offline = reason.has_value() && reason->starts_with("Offline")};
}

void DesktopAccount::sendCode(const std::string& email, Done done) {
    services_.auth().sendCode(email, [done = std::move(done)](const Result<void, AuthError>& sent) {
        done(sent ? std::string() : describe(sent.error()));
    });
}

void DesktopAccount::verify(const std::string& email, const std::string& code, Done done) {
    services_.auth().verify(email, code, [done = std::move(done)](const Result<VerifiedSession, AuthError>& verified) {
        done(verified ? std::string() : describe(verified.error()));
    });
}

void DesktopAccount::signOut(Done done) {
    services_.auth().signOut([done = std::move(done)] { done({}); });
}

void DesktopAccount::deleteAccount(Done done) {
    services_.auth().deleteAccount([done = std::move(done)](const Result<void, AuthError>& gone) {
        done(gone ? std::string() : describe(gone.error()));
    });
}

void DesktopAccount::changeName(const std::string& name, Done done) {
    services_.profile().changeName(name, [done = std::move(done)](const Result<void, std::string>& changed) {
        done(changed ? std::string() : changed.error());
    });
}

void DesktopAccount::syncNow() {
    // Where the keyring had been locked, what follows a sign-in follows its opening.
    services_.session().lookAgainAhead();
    if (SyncService* sync = services_.sync(); sync != nullptr && services_.session().isSignedIn()) {
        services_.outbox().flush();
        sync->pullAll();
    }
}

}  // namespace tolvik
