#include "backend/profile_service.h"

#include <fmt/format.h>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

std::string textOf(RequestRefusal refusal) {
    switch (refusal) {
        case RequestRefusal::notSignedIn:
            return "Sign in again to change your name.";
        case RequestRefusal::invalidUrl:
            return "Invalid backend URL.";
        case RequestRefusal::insecure:
            break;
    }
    return "Refusing to send credentials over an insecure connection.";
}

}  // namespace

void ProfileService::changeName(std::string_view entered, Done done) {
    exchange_.reset();
    const std::string name = trimmed(entered);
    auto request = authorisedRequest(
        endpoint_, session_,
        {.method = "PUT", .path = "/auth/me", .body = jsonObject({{"name", name}}), .namesClient = false});
    if (!request) {
        done(failure(textOf(request.error())));
        return;
    }
    const auto answered = [this, name, token = request->token,
                           done = std::move(done)](const Result<HttpResponse, HttpFailure>& answer) {
        const auto exchange = std::move(exchange_);
        if (!answer) {
            done(failure("Couldn't save your name: " + answer.error().description));
        } else if (answer->status == 200) {
            session_.setName(name);
            changed_.emit();
            done({});
        } else {
            if (answer->status == 401) {
                session_.handleUnauthorized(token);
            }
            done(failure(fmt::format("Couldn't save your name (HTTP {}). Please try again.", answer->status)));
        }
    };
    exchange_ = http_.send(std::move(request->request), answered);
}

}  // namespace tolvik
