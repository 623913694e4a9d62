#include <algorithm>

#include "base/json_writer.h"
#include "base/text.h"
#include "server/api/handlers.h"
#include "server/api/hash.h"
#include "server/api/json_value.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

using std::chrono::minutes;

constexpr Millis codeLife{minutes{10}};
constexpr int codeTries = 5;
constexpr Millis limitWindow{minutes{15}};
/// Codes to one address: a few lost mails are forgiven, and guessing has 25 tries in a million each quarter of an hour.
constexpr std::int64_t mostCodes = 5;
constexpr std::int64_t mostChecks = 30;
constexpr std::size_t mostDevices = 50;
constexpr std::size_t longestAddress = 254;

/// The address as it is kept: domains and, everywhere in practice, names are alike in either letter case.
std::optional<std::string> addressOf(const JsonValue& body) {
    const JsonValue* member = body.member("email");
    if (member == nullptr || member->text() == nullptr) {
        return std::nullopt;
    }
    std::string out = lowerCased(trimmed(*member->text()));
    const bool isPlain = std::ranges::none_of(out, [](char c) {
        // What would end or split an address in a mail's head.
        return static_cast<unsigned char>(c) <= ' ' || c == '\x7f' || std::string_view("<>,;:\"()[]\\").contains(c);
    });
    const std::size_t at = out.rfind('@');
    if (!isPlain || out.size() > longestAddress || at == std::string::npos || at == 0 || at + 1 == out.size() ||
        out.find('.') == std::string::npos) {
        return std::nullopt;
    }
    return out;
}

/// Limits are kept under hashes, so that neither addresses nor peers lie in their table.
std::string limitName(const Context& context, std::string_view what, std::string_view of) {
    return std::string(what) + ":" + sha256(context.app.options.pepper + "\n" + std::string(of));
}

std::optional<Response> overLimits(Context& context, std::string_view what, std::string_view address,
                                   std::int64_t most) {
    // What the address's own limit refuses does not count for the peer, which may be a whole office.
    if (auto over = overLimit(context, limitName(context, what, address), most, limitWindow)) {
        return over;
    }
    const std::string& peer = context.request.peer;
    if (peer.empty()) {
        return std::nullopt;
    }
    return overLimit(context, limitName(context, what, "peer " + peer), context.app.options.mostSignInsOfPeer,
                     limitWindow);
}

std::string codeHash(const Context& context, std::string_view salt, std::string_view address, std::string_view code) {
    std::string text = context.app.options.pepper;
    for (const std::string_view part : {salt, address, code}) {
        text += '\n';
        text += part;
    }
    return sha256(text);
}

Response invalidAddress() {
    return problem(400, "invalid_email", "Enter a valid email address.");
}

}  // namespace

Outcome sendCode(Context& context) {
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    const auto address = addressOf(*body);
    if (!address) {
        return {invalidAddress()};
    }
    if (auto over = overLimits(context, "code", *address, mostCodes)) {
        return {*std::move(over)};
    }
    const std::string code = context.app.draw(newCode);
    const std::string salt = context.app.draw(newToken);
    context.transaction.putCode(*address, salt, codeHash(context, salt, *address, code), context.now + codeLife,
                                codeTries);
    Outcome out{done()};
    out.mails.push_back({*address, code});
    return out;
}

Outcome verifyCode(Context& context) {
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    const auto address = addressOf(*body);
    if (!address) {
        return {invalidAddress()};
    }
    const JsonValue* code = body->member("code");
    if (code == nullptr || code->text() == nullptr) {
        return {badRequest("code: missing")};
    }
    if (auto over = overLimits(context, "check", *address, mostChecks)) {
        return {*std::move(over)};
    }
    Transaction& transaction = context.transaction;
    const auto kept = transaction.useCode(*address, context.now);
    if (!kept || !sameSecret(kept->hash, codeHash(context, kept->salt, *address, *code->text()))) {
        return {problem(400, "invalid_code", "Invalid or expired code")};
    }
    transaction.dropCode(*address);
    auto account = transaction.accountOf(*address);
    if (!account) {
        const auto fresh = context.app.draw([](Random& random) { return random.identifier(); });
        transaction.addAccount(fresh.text(), *address, context.now);
        account = transaction.accountOf(*address);
    }
    if (account) {
        // Deleted between the two, it must not get a session.
        transaction.lock(account->number);
        account = transaction.account(account->number);
    }
    if (!account) {
        return {ServerApp::unavailable()};
    }
    const std::string token = context.app.draw(newToken);
    const auto device = context.app.draw([](Random& random) { return random.identifier(); });
    transaction.addSession(sha256(token), account->number, device.text(), context.now);
    std::string text;
    {
        std::string user;
        {
            JsonObjectWriter out(user);
            out.text("id", account->id);
            out.text("email", account->email);
            out.raw("name", account->name);
        }
        JsonObjectWriter out(text);
        out.text("token", token);
        out.raw("user", user);
    }
    Outcome out{json(std::move(text))};
    for (std::string& left : transaction.keepSessions(account->number, mostDevices)) {
        out.ended.push_back({account->id, std::move(left)});
        transaction.announce(out.ended.back());
    }
    return out;
}

Outcome logOut(Context& context) {
    Outcome out{done()};
    const auto hash = tokenHashOf(context.request);
    const auto session = hash ? context.transaction.session(*hash) : std::nullopt;
    if (session) {
        context.transaction.dropSession(*hash);
        out.ended.push_back({session->userId, session->deviceId});
        context.transaction.announce(out.ended.back());
    }
    return out;
}

}  // namespace tolvik::server
