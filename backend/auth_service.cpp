#include "backend/auth_service.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

#include "base/json_reader.h"

namespace tolvik {
namespace {

constexpr std::size_t kLargestAnswer = 1'000'000;

AuthError networkError(const HttpFailure& failed) {
    return failed.kind == HttpFailure::Kind::invalidUrl ? AuthError{AuthError::Kind::invalidUrl}
                                                        : AuthError{AuthError::Kind::network, failed.description};
}

AuthError refusalError(RequestRefusal refusal) {
    switch (refusal) {
        case RequestRefusal::notSignedIn:
            return {AuthError::Kind::server, "Not signed in.", 401};
        case RequestRefusal::insecure:
            return {AuthError::Kind::server, "Refusing to send credentials over an insecure connection."};
        case RequestRefusal::invalidUrl:
            break;
    }
    return {AuthError::Kind::invalidUrl};
}

std::string textMember(const simdjson::dom::object& object, std::string_view key) {
    std::string_view text;
    return object.at_key(key).get(text) == simdjson::SUCCESS ? std::string(text) : std::string();
}

std::optional<VerifiedSession> readSession(std::string_view body) {
    JsonReader reader({.bytes = kLargestAnswer});
    const auto object = reader.readObject(body);
    simdjson::dom::object user;
    std::string_view token;
    if (!object || object->at_key("token").get(token) != simdjson::SUCCESS ||
        object->at_key("user").get(user) != simdjson::SUCCESS || token.empty()) {
        return std::nullopt;
    }
    return VerifiedSession{std::string(token), textMember(user, "id"), textMember(user, "email"),
                           textMember(user, "name")};
}

Result<VerifiedSession, AuthError> readVerified(const HttpResponse& response, std::string_view email) {
    auto session = response.status == 200 ? readSession(response.body) : std::nullopt;
    if (!session) {
        return failure(AuthError{AuthError::Kind::server,
                                 readServerMessage(response.body).error.value_or("Invalid or expired code"),
                                 response.status});
    }
    // Without an address the session would not count as one.
    if (session->email.empty()) {
        session->email = email;
    }
    return std::move(*session);
}

}  // namespace

std::string describe(const AuthError& error) {
    switch (error.kind) {
        case AuthError::Kind::rateLimited:
            return error.retryAfter ? fmt::format("Too many requests. Try again in {}s.", *error.retryAfter)
                                    : "Too many requests. Please wait a moment and try again.";
        case AuthError::Kind::server:
            return error.message;
        case AuthError::Kind::invalidUrl:
            return "Invalid backend URL.";
        case AuthError::Kind::network:
            break;
    }
    return "Network error: " + error.message;
}

void AuthService::begin() {
    exchange_.reset();
    waiting_.cancel();
}

void AuthService::send(HttpRequest request, std::function<void(Answer)> done) {
    exchange_ = ports_.http.send(std::move(request), [this, done = std::move(done)](Answer answer) {
        // This call lives in what the exchange holds.
        const auto call = done;
        exchange_.reset();
        call(std::move(answer));
    });
}

void AuthService::later(Done done, AuthError error) {
    waiting_ =
        ports_.loop.after(Millis{0}, [done = std::move(done), error = std::move(error)] { done(failure(error)); });
}

void AuthService::sendCode(std::string_view email, Done done) {
    begin();
    auto request = anonymousRequest(
        ports_.endpoint, {.method = "POST", .path = "/auth/otp/send", .body = jsonObject({{"email", email}})});
    if (!request) {
        later(std::move(done), refusalError(request.error()));
        return;
    }
    send(std::move(*request), [done = std::move(done)](const Answer& answer) {
        if (!answer) {
            done(failure(networkError(answer.error())));
        } else if (answer->status == 200) {
            done({});
        } else if (answer->status == 429) {
            done(failure(AuthError{AuthError::Kind::rateLimited, {}, 429, retryAfterSeconds(answer->headers)}));
        } else {
            auto message = readServerMessage(answer->body).error;
            done(failure(
                AuthError{AuthError::Kind::server,
                          message ? std::move(*message) : fmt::format("Failed to send code (HTTP {})", answer->status),
                          answer->status}));
        }
    });
}

void AuthService::verify(std::string_view email, std::string_view code, Verified done) {
    begin();
    auto request = anonymousRequest(ports_.endpoint, {.method = "POST",
                                                      .path = "/auth/otp/verify",
                                                      .body = jsonObject({{"email", email}, {"code", code}}),
                                                      .namesClient = false});
    if (!request) {
        later([done = std::move(done)](const auto& refused) { done(failure(refused.error())); },
              refusalError(request.error()));
        return;
    }
    send(std::move(*request), [this, email = std::string(email), done = std::move(done)](const Answer& answer) {
        if (!answer) {
            done(failure(networkError(answer.error())));
            return;
        }
        auto verified = readVerified(*answer, email);
        if (!verified) {
            done(std::move(verified));
            return;
        }
        if (const auto refused = establish(*verified)) {
            // A process may end with the answer, so the new token is revoked before it.
            logout(verified->token, [done, error = *refused] { done(failure(error)); });
            return;
        }
        ports_.session.announceChange();
        done(std::move(verified));
    });
}

std::optional<AuthError> AuthService::establish(const VerifiedSession& verified) {
    if (const auto kept = ports_.session.establish(verified.token, verified.userId, verified.email, verified.name);
        !kept) {
        return AuthError{AuthError::Kind::server,
                         "Signed in, but the session could not be saved to the Keychain.\n" + kept.error().text};
    }
    if (const auto followed = ports_.follower.userSignedIn(); !followed) {
        ports_.session.clear();
        ports_.session.announceChange();
        return AuthError{AuthError::Kind::server, followed.error()};
    }
    return std::nullopt;
}

void AuthService::logout(const std::string& token, std::function<void()> done) {
    auto request = anonymousRequest(
        ports_.endpoint, {.method = "POST", .path = "/auth/logout", .timeout = Millis{5'000}, .namesClient = false});
    if (!request) {
        done();
        return;
    }
    if (isHttps(ports_.endpoint.baseUrl())) {
        addAuthorization(*request, token);
    }
    farewell_ = ports_.http.send(std::move(*request), [this, done = std::move(done)](const Answer&) {
        const auto call = done;
        farewell_.reset();
        call();
    });
}

void AuthService::signOut(std::function<void()> done) {
    begin();
    ports_.follower.flush();
    waitForQueue(ports_.clock.now() + signOutPatience, std::move(done));
}

void AuthService::waitForQueue(Instant deadline, std::function<void()> done) {
    if (ports_.follower.pendingCount() > 0 && ports_.clock.now() < deadline) {
        waiting_ = ports_.loop.after(signOutInterval, [this, deadline, done = std::move(done)]() mutable {
            waitForQueue(deadline, std::move(done));
        });
        return;
    }
    const auto finish = [this, done = std::move(done)] {
        signOutLocally();
        done();
    };
    if (const auto token = ports_.session.currentToken()) {
        logout(*token, finish);
    } else {
        finish();
    }
}

void AuthService::deleteAccount(Done done) {
    begin();
    auto request =
        authorisedRequest(ports_.endpoint, ports_.session,
                          {.method = "DELETE", .path = "/auth/me", .timeout = Millis{10'000}, .namesClient = false});
    if (!request) {
        later(std::move(done), refusalError(request.error()));
        return;
    }
    send(std::move(request->request), [this, token = request->token, done = std::move(done)](const Answer& answer) {
        if (!answer) {
            done(failure(networkError(answer.error())));
        } else if (answer->status >= 200 && answer->status < 300) {
            ports_.follower.clearQueue();
            ports_.session.noteDeletedAccount();
            signOutLocally();
            done({});
        } else {
            if (answer->status == 401) {
                ports_.session.handleUnauthorized(token);
            }
            done(failure(AuthError{AuthError::Kind::server,
                                   fmt::format("Could not delete the account (HTTP {}).", answer->status),
                                   answer->status}));
        }
    });
}

void AuthService::signOutLocally() {
    ports_.session.clear();
    ports_.follower.signedOut();
    ports_.session.announceChange();
}

}  // namespace tolvik
