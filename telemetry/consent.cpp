#include "telemetry/consent.h"

#include <spdlog/spdlog.h>

#include "telemetry/events.h"

namespace tolvik {
namespace {

constexpr std::string_view kConsent = "tolvik.telemetry.consent";
constexpr std::string_view kAnonId = "tolvik.analytics.anonId";

}  // namespace

Consent consentIn(const ValueStore& values) {
    // Read twice with different defaults: what both agree on was written.
    const bool yes = values.flag(kConsent, false);
    return yes == values.flag(kConsent, true) ? (yes ? Consent::yes : Consent::no) : Consent::notAsked;
}

Result<void, StoreError> setConsent(ValueStore& values, const std::filesystem::path& folder, bool yes) {
    if (yes) {
        return values.setFlag(kConsent, true);
    }
    productBufferIn(folder).drop();
    voiceBufferIn(folder).drop();
    const auto erased = forgetAnonId(values);
    const auto kept = values.setFlag(kConsent, false);
    return kept ? erased : kept;
}

std::string anonIdIn(ValueStore& values, const std::string& fresh) {
    if (auto id = values.text(kAnonId); !id.empty()) {
        return id;
    }
    if (const auto kept = values.setText(kAnonId, fresh); !kept) {
        spdlog::warn("the installation's id is not kept: {}", describe(kept.error()));
    }
    return fresh;
}

Result<void, StoreError> forgetAnonId(ValueStore& values) {
    return values.erase(kAnonId);
}

TelemetryPreview previewIn(const std::filesystem::path& folder) {
    auto product = productBufferIn(folder);
    auto voice = voiceBufferIn(folder);
    product.load();
    voice.load();
    return {product.body(), voice.body()};
}

}  // namespace tolvik
