#include "commands/account_commands.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "backend/endpoint.h"
#include "backend/sign_in_form.h"
#include "base/text.h"
#include "commands/answers.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

CommandResponse told(const CommandRequest& request, const Json& json, const std::string& text) {
    return {ExitCode::done, request.has("json") ? dumped(json) : text + "\n", {}};
}

Json textOrNull(const std::optional<std::string>& text) {
    return text ? Json(*text) : Json();
}

constexpr const char* kHowToSignIn = "Not signed in. Sign in with: tolvik sign-in EMAIL";
constexpr const char* kNoServer =
    "No server is set. Write TOLVIK_BACKEND_URL=https://… into ~/.config/Tolvik/tolvik.conf or set the variable of "
    "that name.";

}  // namespace

struct AccountCommands::Round {
    CommandRequest request;
    bool pulling = false;
    /// How the pull ended, which may have queued what the server lacks.
    std::optional<bool> pulled;
    /// The queue told of something since it was asked to send: what held it up before says nothing.
    bool queueSpoke = false;
    Subscription queueChanged;
    Subscription sessionChanged;
};

bool AccountCommands::knows(const std::string& command) {
    constexpr std::array<std::string_view, 4> commands{"sign-in", "sign-out", "account", "sync"};
    return std::ranges::find(commands, command) != commands.end();
}

void AccountCommands::run(const CommandRequest& request, const Done& done) {
    // The user may have unlocked the secret store since it was last asked.
    ports_.session.lookAgain();
    if (request.command == "sign-in") {
        signIn(request, done);
    } else if (request.command == "sign-out") {
        signOut(request, done);
    } else if (request.command == "account") {
        account(request, done);
    } else {
        sync(request, done);
    }
}

bool AccountCommands::isConfigured() const {
    return ports_.endpoint.isConfigured();
}

AccountCommands::Done AccountCommands::limited(const CommandRequest& request, Millis atMost, const Done& done) {
    if (const auto older = std::exchange(current_, nullptr)) {
        older({ExitCode::environment, {}, "Another command about the account took its place.\n"});
    }
    round_.reset();
    auto open = std::make_shared<bool>(true);
    const Done once = [this, open, done](CommandResponse response) {
        if (std::exchange(*open, false)) {
            current_ = nullptr;
            limit_.cancel();
            done(std::move(response));
        }
    };
    current_ = once;
    limit_ = ports_.loop.after(atMost, [once, request] {
        const Done call = once;
        call(refusal(request, ExitCode::environment, "The server did not answer in time. Try again."));
    });
    return once;
}

void AccountCommands::signIn(const CommandRequest& request, const Done& done) {
    const auto email = acceptedEmail(request.arguments.front());
    if (!email) {
        done(refusal(request, ExitCode::usage, invalidEmailText));
        return;
    }
    if (!isConfigured()) {
        done(refusal(request, ExitCode::environment, kNoServer));
        return;
    }
    const auto code = request.option("code");
    if (!code) {
        ports_.auth.sendCode(*email, [request, email = *email,
                                      finish = limited(request, patience, done)](const Result<void, AuthError>& sent) {
            if (!sent) {
                finish(refusal(request, ExitCode::environment, describe(sent.error())));
                return;
            }
            finish(told(request, {{"codeSent", true}, {"email", email}},
                        fmt::format("{}\nThen: tolvik sign-in {} --code NNNNNN", codeSentText, oneLine(email))));
        });
        return;
    }
    const std::string digits = codeDigits(*code);
    if (digits.size() != codeLength) {
        done(refusal(request, ExitCode::usage, "The code has six digits."));
        return;
    }
    ports_.auth.verify(
        *email, digits,
        [this, request, finish = limited(request, patience, done)](const Result<VerifiedSession, AuthError>& verified) {
            if (!verified) {
                finish(refusal(request, ExitCode::environment, describe(verified.error())));
                return;
            }
            finish(told(request,
                        {{"signedIn", true}, {"email", verified->email}, {"pending", ports_.outbox.pendingCount()}},
                        "Signed in as " + oneLine(verified->email) + "."));
        });
}

void AccountCommands::signOut(const CommandRequest& request, const Done& done) {
    if (!ports_.session.isSignedIn()) {
        done(refusal(request, ExitCode::nothing, "Not signed in."));
        return;
    }
    ports_.goOnline();
    ports_.auth.signOut([this, request, finish = limited(request, patience, done)] {
        finish(told(request, {{"signedIn", false}, {"pending", ports_.outbox.pendingCount()}},
                    "Signed out. The log stays on this device."));
    });
}

void AccountCommands::account(const CommandRequest& request, const Done& done) {
    const std::string verb = request.arguments.empty() ? std::string() : request.arguments.front();
    if (verb.empty()) {
        done(state(request));
    } else if (verb == "name" && request.arguments.size() > 1) {
        changeName(request, done);
    } else if (verb == "delete" && request.arguments.size() == 1) {
        deleteAccount(request, done);
    } else {
        done(refusal(request, ExitCode::usage, "Usage: tolvik account | account name NAME | account delete --yes"));
    }
}

CommandResponse AccountCommands::state(const CommandRequest& request) {
    const bool signedIn = ports_.session.isSignedIn();
    const std::size_t pending = ports_.outbox.pendingCount();
    const std::string email = signedIn ? ports_.session.email() : std::string();
    std::string text = kHowToSignIn;
    if (signedIn) {
        const std::string name = ports_.session.name();
        text = "Signed in as " + oneLine(email) + (name.empty() ? "" : " (" + oneLine(name) + ")") + ".";
    }
    if (pending > 0 && !signedIn) {
        text += fmt::format("\n{} {} until then.", pending, pending == 1 ? "change waits" : "changes wait");
    } else if (pending > 0) {
        text += fmt::format("\n{} waiting to sync", pending);
        if (const auto& reason = ports_.outbox.parkedReason()) {
            text += ". " + *reason;
        }
    }
    CommandResponse response = told(request, {{"signedIn", signedIn}, {"email", email}, {"pending", pending}}, text);
    if (const std::string& problem = ports_.session.problem(); !problem.empty()) {
        response.error = problem + "\n";
    }
    return response;
}

void AccountCommands::changeName(const CommandRequest& request, const Done& done) {
    const std::string name = trimmed(joined({request.arguments.begin() + 1, request.arguments.end()}, " "));
    if (name.empty()) {
        done(refusal(request, ExitCode::usage, "A name cannot be empty."));
        return;
    }
    if (const auto refused = refusedSignedOut(request)) {
        done(*refused);
        return;
    }
    ports_.profile.changeName(
        name, [request, name, finish = limited(request, patience, done)](const Result<void, std::string>& changed) {
            finish(changed ? told(request, {{"name", name}}, "Your name is now " + oneLine(name) + ".")
                           : refusal(request, ExitCode::environment, changed.error()));
        });
}

std::optional<CommandResponse> AccountCommands::refusedSignedOut(const CommandRequest& request) const {
    if (ports_.session.isSignedIn()) {
        return std::nullopt;
    }
    const std::string& problem = ports_.session.problem();
    return refusal(request, ExitCode::nothing, problem.empty() ? kHowToSignIn : problem);
}

void AccountCommands::deleteAccount(const CommandRequest& request, const Done& done) {
    if (const auto refused = refusedSignedOut(request)) {
        done(*refused);
        return;
    }
    if (!request.has("yes")) {
        done(refusal(request, ExitCode::usage,
                     fmt::format("{} {}\nThe log on this device stays. If you mean it: tolvik account delete --yes",
                                 deleteAccountQuestion, deleteAccountWarning)));
        return;
    }
    ports_.auth.deleteAccount(
        [request, finish = limited(request, patience, done)](const Result<void, AuthError>& gone) {
            finish(gone ? told(request, {{"deleted", true}, {"signedIn", false}},
                               "Your account is deleted. The log stays on this device.")
                        : refusal(request, ExitCode::environment, describe(gone.error())));
        });
}

void AccountCommands::sync(const CommandRequest& request, const Done& done) {
    if (const auto refused = refusedSignedOut(request)) {
        done(*refused);
        return;
    }
    if (!isConfigured()) {
        done(refusal(request, ExitCode::environment, kNoServer));
        return;
    }
    const Done finish = limited(request, syncPatience + Millis{1'000}, done);
    current_ = finish;
    round_ = std::make_shared<Round>();
    round_->request = request;
    round_->queueChanged = ports_.outbox.onChanged([this] {
        if (round_) {
            round_->queueSpoke = true;
            syncOn();
        }
    });
    round_->sessionChanged = ports_.session.onChanged([this] { syncOn(); });
    ports_.goOnline();
    ports_.outbox.flush();
    // What is there after the time is told, however far it got.
    limit_ = ports_.loop.after(syncPatience, [this, request, finish] {
        const auto round = std::exchange(round_, nullptr);
        const Done call = finish;
        call(synced(request, round && round->pulled.value_or(false)));
    });
    ports_.loop.post([this, weak = std::weak_ptr(round_)] {
        if (!weak.expired()) {
            syncOn();
        }
    });
}

void AccountCommands::syncOn() {
    const auto round = round_;
    if (!round || (round->pulling && !round->pulled)) {
        return;
    }
    const bool isParked = round->queueSpoke && ports_.outbox.parkedReason().has_value();
    const bool isOver = !ports_.session.isSignedIn();
    if (!isParked && !isOver && ports_.outbox.pendingCount() > 0) {
        return;
    }
    if (round->pulled || isOver || !ports_.pullAll) {
        round_.reset();
        if (const Done call = current_) {
            call(synced(round->request, round->pulled.value_or(false)));
        }
        return;
    }
    round->pulling = true;
    ports_.pullAll([this, weak = std::weak_ptr(round)](bool pulled) {
        if (const auto still = weak.lock()) {
            still->pulled = pulled;
            ports_.outbox.flush();
            syncOn();
        }
    });
}

CommandResponse AccountCommands::synced(const CommandRequest& request, bool pulled) {
    const std::size_t pending = ports_.outbox.pendingCount();
    const auto& reason = ports_.outbox.parkedReason();
    const auto& rejection = ports_.outbox.lastRejection();
    std::string text = pending == 0 ? "Everything is sent" : fmt::format("{} waiting to sync", pending);
    text += pulled ? ", and everything is fetched." : "; nothing was fetched.";
    for (const auto& more : {reason, rejection}) {
        if (more) {
            text += "\n" + *more;
        }
    }
    if (!pulled && !reason && ports_.session.isSignedIn()) {
        text += "\nThe server did not answer as it should. Try again later, or look at TOLVIK_BACKEND_URL.";
    }
    if (!ports_.session.isSignedIn()) {
        text += "\nThe session has ended. Sign in again with: tolvik sign-in EMAIL";
    }
    CommandResponse response = told(request,
                                    {{"pending", pending},
                                     {"pulled", pulled},
                                     {"parkedReason", textOrNull(reason)},
                                     {"lastRejection", textOrNull(rejection)}},
                                    text);
    if (pending > 0 || !pulled) {
        response.exit = ExitCode::environment;
    }
    return response;
}

}  // namespace tolvik
