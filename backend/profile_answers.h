#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "core/value_store.h"

namespace tolvik {

/// What a person told of themselves in the first-run steps, as the keys of the options; empty where nothing was told.
struct ProfileAnswers {
    std::string role = {};
    std::string useCase = {};
    std::string source = {};

    bool operator==(const ProfileAnswers&) const = default;
};

namespace profileSetting {
inline constexpr std::string_view role = "tolvik.profile.role";
inline constexpr std::string_view useCase = "tolvik.profile.useCase";
inline constexpr std::string_view source = "tolvik.profile.source";
/// Flag: the server does not have the answers yet.
inline constexpr std::string_view pendingSync = "tolvik.profile.pendingSync";
}  // namespace profileSetting

[[nodiscard]] ProfileAnswers profileAnswersIn(const ValueStore& values);
/// Keeps all three, empty ones too, while they are still being given.
[[nodiscard]] Result<void, StoreError> keepProfileAnswers(ValueStore& values, const ProfileAnswers& answers);
/// The same when they are final. They are owed to the server when at least one was given.
[[nodiscard]] Result<void, StoreError> saveProfileAnswers(ValueStore& values, const ProfileAnswers& answers);

/// Brings the answers to the server as soon as somebody is signed in. Main loop only; what it was made with outlives
/// it.
class ProfileAnswersUpload {
public:
    struct Ports {
        ValueStore& values;
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
    };
    /// Follows sign-ins from now on; sends nothing before one or before `sync`.
    explicit ProfileAnswersUpload(Ports ports);

    /// Sends what is owed, unless it is on its way. A failure leaves it owed for the next call.
    void sync();

private:
    Ports ports_;
    std::unique_ptr<HttpExchange> exchange_;
    Subscription sessionChanged_;
};

}  // namespace tolvik
