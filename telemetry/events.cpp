#include "telemetry/events.h"

#include <array>
#include <cmath>
#include <fmt/format.h>
#include <utility>

#include "base/json_writer.h"
#include "base/text.h"

namespace tolvik {
namespace {

using Kind = EventMember::Kind;
constexpr std::array kProductMembers{EventMember{"id"},
                                     EventMember{"ts"},
                                     EventMember{"platform"},
                                     EventMember{"event"},
                                     EventMember{"propsJSON"},
                                     EventMember{"anonId"},
                                     EventMember{"sessionId"},
                                     EventMember{"region", Kind::text, true},
                                     EventMember{"appVersion", Kind::text, true}};
constexpr std::array kVoiceMembers{EventMember{"id"},
                                   EventMember{"timestamp"},
                                   EventMember{"transcript"},
                                   EventMember{"action"},
                                   EventMember{"taskTitle"},
                                   EventMember{"method"},
                                   EventMember{"confidence", Kind::number},
                                   EventMember{"resolvedLocally", Kind::flag},
                                   EventMember{"llmFallback", Kind::flag},
                                   EventMember{"latencyMs", Kind::whole},
                                   EventMember{"transcribeMs", Kind::whole, true},
                                   EventMember{"audioBytes", Kind::whole, true}};
constexpr std::size_t kProductCap = 1000;
constexpr std::size_t kVoiceCap = 500;
constexpr std::size_t kLongestName = 64;
// What the server accepts; it passes longer ones over.
constexpr std::size_t kLongestTranscript = 4000;
constexpr std::size_t kLongestTitle = 2000;
constexpr std::size_t kLongestProperties = 8192;

/// "2026-01-31T09:05:00Z".
std::string wholeSeconds(Instant at) {
    auto text = formatInstant(at);
    text.erase(text.find('.'), 4);
    return text;
}

std::string numberText(double number) {
    return fmt::format("{}", number);
}

/// Writes one property; false when JSON has no such value.
bool write(JsonObjectWriter& json, std::string_view key, const EventProperty& value) {
    if (const auto* number = std::get_if<double>(&value)) {
        if (!std::isfinite(*number)) {
            return false;
        }
        json.raw(key, numberText(*number));
    } else if (const auto* text = std::get_if<std::string>(&value)) {
        json.text(key, *text);
    } else if (const auto* whole = std::get_if<std::int64_t>(&value)) {
        json.number(key, *whole);
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        json.boolean(key, *flag);
    } else if (std::holds_alternative<std::nullptr_t>(value)) {
        json.null(key);
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::string propertiesJson(const EventProperties& properties) {
    std::string out;
    bool isWhole = !properties.empty();
    {
        JsonObjectWriter json(out);
        for (const auto& [key, value] : properties) {
            isWhole = isWhole && write(json, key, value);
        }
    }
    return isWhole && utf16Length(out) <= kLongestProperties ? out : std::string();
}

EventBuffer::Event productEvent(std::string id, Instant at, std::string_view name, const EventProperties& properties,
                                const EventOrigin& origin) {
    EventBuffer::Event event{std::move(id), {}};
    {
        JsonObjectWriter json(event.json);
        json.text("id", event.id);
        json.text("ts", wholeSeconds(at));
        json.text("platform", "macos");
        json.text("event", firstGraphemes(name, kLongestName));
        json.text("propsJSON", propertiesJson(properties));
        json.text("anonId", origin.anonId);
        json.text("sessionId", origin.sessionId);
        if (origin.region) {
            json.text("region", *origin.region);
        }
        if (origin.appVersion) {
            json.text("appVersion", *origin.appVersion);
        }
    }
    return event;
}

EventBuffer::Event voiceEvent(std::string id, const VoiceEvent& given) {
    EventBuffer::Event event{std::move(id), {}};
    {
        JsonObjectWriter json(event.json);
        json.text("id", event.id);
        json.text("timestamp", formatInstant(given.at));
        json.text("transcript", cutToUtf16(given.transcript, kLongestTranscript));
        json.text("action", given.action);
        json.text("taskTitle", cutToUtf16(given.taskTitle, kLongestTitle));
        json.text("method", given.method);
        json.raw("confidence", numberText(std::isfinite(given.confidence) ? given.confidence : 0));
        json.boolean("resolvedLocally", given.resolvedLocally);
        json.boolean("llmFallback", given.llmFallback);
        json.number("latencyMs", given.latencyMs);
        if (given.transcribeMs) {
            json.number("transcribeMs", *given.transcribeMs);
        }
        if (given.audioBytes) {
            json.number("audioBytes", *given.audioBytes);
        }
    }
    return event;
}

EventBuffer productBufferIn(const std::filesystem::path& folder) {
    return {folder / "product-analytics-buffer.json", kProductMembers, kProductCap};
}

EventBuffer voiceBufferIn(const std::filesystem::path& folder) {
    return {folder / "voice-analytics-buffer.json", kVoiceMembers, kVoiceCap};
}

}  // namespace tolvik
