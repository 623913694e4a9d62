#include "backend/session.h"

#include <spdlog/spdlog.h>
#include <utility>

#include "base/json_writer.h"
#include "core/log_owner.h"

namespace tolvik {
namespace {

constexpr const char* kToken = "tolvik.auth.token";
constexpr const char* kUserId = "tolvik.auth.userId";
constexpr const char* kEmail = "tolvik.auth.email";
constexpr const char* kName = "tolvik.auth.name";

WriteBatch::PutValue setting(const char* key, std::string_view value) {
    std::string json;
    appendJsonString(json, value);
    return {key, std::move(json)};
}

}  // namespace

Session::Session(ValueStore& values, SecretStore& secrets) : values_(values), secrets_(secrets) {
    ahead_->session = this;
}

Session::~Session() {
    const std::scoped_lock lock(ahead_->mutex);
    ahead_->session = nullptr;
}

bool Session::wasEverSignedIn() const {
    return !email().empty() || !userId().empty();
}

std::optional<std::string> Session::currentToken() {
    if (!token_) {
        // Where nobody ever signed in the secret store is not even asked.
        if (isLoading_ || !problem_.empty() || !wasEverSignedIn()) {
            return std::nullopt;
        }
        take(secrets_.read(kToken));
    }
    return token_.value_or(std::nullopt);
}

void Session::take(Kept kept) {
    if (!kept) {
        problem_ = kept.error().text;
        spdlog::warn("the session cannot be read: {}", problem_);
        return;
    }
    if (*kept && (*kept)->empty()) {
        kept->reset();
    }
    token_ = std::move(*kept);
}

void Session::lookAgainAhead() {
    lookAgain();
    if (loadsAhead_) {
        loadsAhead_();
    }
}

void Session::loadAhead(Workers& workers, MainLoop& loop) {
    loadsAhead_ = [this, &workers, &loop] { loadAhead(workers, loop); };
    if (token_ || isLoading_ || !wasEverSignedIn()) {
        return;
    }
    isLoading_ = true;
    problem_.clear();
    workers.run([ahead = ahead_, &loop] {
        const std::scoped_lock lock(ahead->mutex);
        if (ahead->session == nullptr) {
            return;
        }
        loop.post([ahead, kept = ahead->session->secrets_.read(kToken)] {
            Session* session = ahead->session;
            // Whoever signed in or out meanwhile knows better.
            if (session != nullptr && std::exchange(session->isLoading_, false)) {
                session->take(kept);
                session->changed_.emit();
            }
        });
    });
}

bool Session::isSignedIn() {
    return !email().empty() && currentToken().has_value();
}

std::string Session::userId() const {
    return values_.text(kUserId);
}
std::string Session::email() const {
    return values_.text(kEmail);
}
std::string Session::name() const {
    return values_.text(kName);
}

Result<void, SecretProblem> Session::establish(std::string_view token, std::string_view userId, std::string_view email,
                                               std::string_view name) {
    if (auto kept = secrets_.write(kToken, token); !kept) {
        return kept;
    }
    WriteBatch batch;
    batch.writes = {setting(kUserId, userId), setting(kEmail, email), setting(kName, name)};
    if (const auto written = values_.commit(batch); !written) {
        static_cast<void>(secrets_.erase(kToken));
        token_.reset();
        return failure(SecretProblem{std::string(describe(written.error()))});
    }
    isLoading_ = false;
    problem_.clear();
    token_ = std::string(token);
    return {};
}

void Session::setName(std::string_view name) {
    if (const auto written = values_.setText(kName, name); !written) {
        spdlog::warn("the name is not kept: {}", describe(written.error()));
    }
}

void Session::noteDeletedAccount() {
    if (const auto written = tolvik::noteDeletedAccount(values_, email()); !written) {
        spdlog::warn("the deleted account is not remembered: {}", describe(written.error()));
    }
}

void Session::clear() {
    forgetToken();
    if (const auto written = values_.commit(
            {{WriteBatch::EraseValue{kUserId}, WriteBatch::EraseValue{kEmail}, WriteBatch::EraseValue{kName}}});
        !written) {
        spdlog::warn("the account's settings stay: {}", describe(written.error()));
    }
}

void Session::forgetToken() {
    if (const auto erased = secrets_.erase(kToken); !erased) {
        spdlog::warn("the session stays in the secret store: {}", erased.error().text);
    }
    // Gone for this process in any case.
    isLoading_ = false;
    token_.emplace(std::nullopt);
}

void Session::handleUnauthorized(std::optional<std::string_view> tokenUsed) {
    const auto current = currentToken();
    if (!current || (tokenUsed && *tokenUsed != *current)) {
        return;
    }
    forgetToken();
    expired_.emit();
    changed_.emit();
}

Subscription Session::onExpired(std::function<void()> callback) {
    return expired_.connect(std::move(callback));
}
Subscription Session::onChanged(std::function<void()> callback) {
    return changed_.connect(std::move(callback));
}
void Session::announceChange() {
    changed_.emit();
}

}  // namespace tolvik
