#include <array>

#include "base/json_writer.h"
#include "base/text.h"
#include "server/api/handlers.h"
#include "server/api/json_value.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

constexpr std::size_t longestName = 200;
constexpr std::size_t longestAnswer = 200;

}  // namespace

Outcome changeMe(Context& context) {
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    const JsonValue* name = body->member("name");
    if (name == nullptr || name->text() == nullptr) {
        return {badRequest("name: missing")};
    }
    if (utf16Length(*name->text()) > longestName) {
        return {badRequest("name: longer than 200 characters")};
    }
    std::string kept;
    appendJsonString(kept, trimmed(*name->text()));
    context.transaction.setName(context.session.account, kept);
    return {json("{\"name\":" + kept + "}")};
}

Outcome deleteMe(Context& context) {
    context.transaction.lock(context.session.account);
    context.transaction.dropAccount(context.session.account);
    Outcome out{done()};
    out.ended.push_back({context.session.userId, {}});
    context.transaction.announce(out.ended.back());
    return out;
}

Outcome putProfile(Context& context) {
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    std::string kept;
    {
        JsonObjectWriter out(kept);
        for (const std::string_view name : std::array{"role", "useCase", "source"}) {
            const JsonValue* value = body->member(name);
            if (value == nullptr || value->isNull()) {
                continue;
            }
            if (value->text() == nullptr || utf16Length(*value->text()) > longestAnswer) {
                return {badRequest(std::string(name) + ": not a text of at most 200 characters")};
            }
            out.text(name, *value->text());
        }
    }
    context.transaction.setProfile(context.session.account, kept);
    return {done()};
}

}  // namespace tolvik::server
