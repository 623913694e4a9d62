#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/result.h"
#include "base/subscription.h"

namespace tolvik {

/// The name that the server keeps for the signed-in user. Main loop only.
class ProfileService {
public:
    ProfileService(HttpClient& http, const BackendEndpoint& endpoint, Session& session)
        : http_(http), endpoint_(endpoint), session_(session) {}

    using Done = std::function<void(Result<void, std::string>)>;
    /// Trims and saves the name; the error is the text for the user. A newer call gives up the older. `done` may be
    /// called before this returns when nothing is sent.
    void changeName(std::string_view entered, Done done);

    /// The name was changed ("tolvikProfileChanged").
    Subscription onChanged(std::function<void()> callback) { return changed_.connect(std::move(callback)); }

private:
    HttpClient& http_;
    const BackendEndpoint& endpoint_;
    Session& session_;
    std::unique_ptr<HttpExchange> exchange_;
    Signal<> changed_;
};

}  // namespace tolvik
