#include "app/models/privacy_model.h"

#include "app/models/wording.h"

namespace tolvik {

PrivacyModel::PrivacyModel(Telemetry& telemetry, const std::optional<CrashReport>& crash, QObject* parent)
    : QObject(parent), telemetry_(telemetry) {
    if (crash) {
        crashNotice_ = wording::fromUtf8(tolvik::crashNotice(*crash));
        crashFields_ = wording::fromUtf8(crashJson(*crash));
    }
}

void PrivacyModel::answer(bool shares) {
    const auto kept = telemetry_.setConsent(shares);
    const std::string_view text = kept ? std::string_view() : describe(kept.error());
    problem_ = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    refresh();
}

void PrivacyModel::refresh() {
    telemetry_.followConsent();
    const TelemetryPreview preview = telemetry_.previewBytes();
    QStringList parts;
    if (!preview.product.empty()) {
        parts << QStringLiteral("POST /analytics/ingest\n") + wording::fromUtf8(preview.product);
    }
    if (!preview.voice.empty()) {
        parts << QStringLiteral("POST /analytics/voice\n") + wording::fromUtf8(preview.voice);
    }
    bytes_ = parts.join(QStringLiteral("\n\n"));
    Q_EMIT bytesChanged();
    Q_EMIT changed();
}

void PrivacyModel::dismissCrash() {
    crashNotice_.clear();
    Q_EMIT crashChanged();
}

}  // namespace tolvik
