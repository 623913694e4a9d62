#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/time.h"
#include "telemetry/event_buffer.h"

namespace tolvik {

/// A value of an event's property. An instant is none that JSON has: a map with one is recorded as empty.
using EventProperty = std::variant<std::nullptr_t, bool, std::int64_t, double, std::string, Instant>;
using EventProperties = std::map<std::string, EventProperty>;

/// The properties as the text of a JSON object with sorted keys; empty for no properties and for a value that JSON
/// does not have (an instant, an infinite number).
[[nodiscard]] std::string propertiesJson(const EventProperties& properties);

/// What every product event carries.
struct EventOrigin {
    /// Of this installation, not of its user.
    std::string anonId;
    /// Of this launch.
    std::string sessionId;
    std::optional<std::string> region;
    std::optional<std::string> appVersion;
};

/// A product event. The name is cut to 64 characters.
[[nodiscard]] EventBuffer::Event productEvent(std::string id, Instant at, std::string_view name,
                                              const EventProperties& properties, const EventOrigin& origin);

/// How a spoken command was understood and carried out.
struct VoiceEvent {
    Instant at;
    std::string transcript;
    std::string action;
    /// Empty when no task was acted on.
    std::string taskTitle;
    std::string method;
    double confidence = 0;
    bool resolvedLocally = false;
    /// The server's parser was used.
    bool llmFallback = false;
    std::int64_t latencyMs = 0;
    std::optional<std::int64_t> transcribeMs;
    std::optional<std::int64_t> audioBytes;
};
/// Long texts are cut to what the server takes.
[[nodiscard]] EventBuffer::Event voiceEvent(std::string id, const VoiceEvent& event);

// The two buffers in a folder; nothing is read yet.
[[nodiscard]] EventBuffer productBufferIn(const std::filesystem::path& folder);
[[nodiscard]] EventBuffer voiceBufferIn(const std::filesystem::path& folder);

}  // namespace tolvik
