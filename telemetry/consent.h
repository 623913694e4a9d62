#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "core/value_store.h"

namespace tolvik {

/// Whether the user lets telemetry be recorded and sent. Until the answer is yes, nothing is.
enum class Consent : std::uint8_t { notAsked, yes, no };

[[nodiscard]] Consent consentIn(const ValueStore& values);
/// "no" also deletes the installation's id and, in `folder`, what is buffered; they are gone even when keeping the
/// answer fails.
[[nodiscard]] Result<void, StoreError> setConsent(ValueStore& values, const std::filesystem::path& folder, bool yes);

/// The installation's id, which is made when there is none.
[[nodiscard]] std::string anonIdIn(ValueStore& values, const std::string& fresh);
/// The next one is another.
[[nodiscard]] Result<void, StoreError> forgetAnonId(ValueStore& values);

/// The bodies of the next uploads, byte for byte; empty where nothing waits.
struct TelemetryPreview {
    std::string product;
    std::string voice;
};
/// Of what lies in the folder's files.
[[nodiscard]] TelemetryPreview previewIn(const std::filesystem::path& folder);

}  // namespace tolvik
