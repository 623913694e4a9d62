#include <array>
#include <span>

#include "base/json_writer.h"
#include "base/text.h"
#include "server/api/handlers.h"
#include "server/api/json_value.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

constexpr Millis window{std::chrono::minutes{10}};
constexpr std::int64_t mostBatches = 300;
constexpr std::size_t mostInBatch = 1000;
/// Kept of each user and kind; the oldest go.
constexpr std::int64_t mostKept = 10'000;

/// One member of an event.
struct Member {
    enum class Type : std::uint8_t { text, whole, number, flag };
    std::string_view name;
    Type type = Type::text;
    /// UTF-16 units of a text.
    std::size_t most = 64;
    bool required = true;
};
using Type = Member::Type;

constexpr std::array productMembers{
    Member{"id"},
    Member{"ts"},
    Member{"platform"},
    Member{"event"},
    Member{"propsJSON", Type::text, 8192},
    Member{"anonId"},
    Member{"sessionId"},
    Member{"region", Type::text, 64, false},
    Member{"appVersion", Type::text, 64, false},
};
constexpr std::array voiceMembers{
    Member{"id"},
    Member{"timestamp"},
    Member{"transcript", Type::text, 4000},
    Member{"action"},
    Member{"taskTitle", Type::text, 2000},
    Member{"method"},
    Member{"confidence", Type::number},
    Member{"resolvedLocally", Type::flag},
    Member{"llmFallback", Type::flag},
    Member{"latencyMs", Type::whole},
    Member{"transcribeMs", Type::whole, 0, false},
    Member{"audioBytes", Type::whole, 0, false},
};

bool isValid(const Member& member, const JsonValue& value) {
    switch (member.type) {
        case Type::text:
            return value.text() != nullptr && utf16Length(*value.text()) <= member.most;
        case Type::whole:
            return value.whole().has_value();
        case Type::number:
            return value.number().has_value();
        default:
            return value.flag() != nullptr;
    }
}

/// The event with the members that are known; none when one of them is missing or wrong.
std::optional<std::string> kept(std::span<const Member> members, const JsonValue& event) {
    JsonValue::Object out;
    for (const Member& member : members) {
        const JsonValue* value = event.member(member.name);
        if (value == nullptr || value->isNull()) {
            if (member.required) {
                return std::nullopt;
            }
            continue;
        }
        if (!isValid(member, *value)) {
            return std::nullopt;
        }
        out.emplace_back(std::string(member.name), *value);
    }
    std::string text;
    appendJson(text, JsonValue{std::move(out)});
    return text;
}

Outcome take(Context& context, std::string_view kind, std::span<const Member> members) {
    if (auto over = overLimit(context, std::string(kind) + ":" + context.session.userId, mostBatches, window)) {
        return {*std::move(over)};
    }
    const auto body = readJsonObject(context.request.body);
    if (!body) {
        return {badRequest(body.error())};
    }
    const JsonValue* events = body->member("events");
    if (events == nullptr || events->array() == nullptr || events->array()->size() > mostInBatch) {
        return {badRequest("events: not a list of at most 1000 events")};
    }
    context.transaction.lock(context.session.account);
    if (!context.transaction.account(context.session.account)) {
        return {unauthorized()};
    }
    // A device keeps a refused batch and sends it again, so what cannot be used is passed over.
    std::int64_t accepted = 0;
    for (const JsonValue& event : *events->array()) {
        const auto text = kept(members, event);
        if (text) {
            context.transaction.addEvent(context.session.account, kind, *event.member("id")->text(), *text,
                                         context.now);
            ++accepted;
        }
    }
    context.transaction.trimEvents(context.session.account, kind, mostKept);
    return {json("{\"accepted\":" + std::to_string(accepted) + "}")};
}

}  // namespace

Outcome takeEvents(Context& context) {
    return take(context, "product", productMembers);
}

Outcome takeVoiceEvents(Context& context) {
    return take(context, "voice", voiceMembers);
}

}  // namespace tolvik::server
