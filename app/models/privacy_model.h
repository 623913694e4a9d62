#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <optional>

#include "telemetry/crash/crash_trail.h"
#include "telemetry/telemetry.h"

namespace tolvik {

/// What leaves this device about how it is used: the one question, the very bytes, and what is known of a crash. Main
/// thread only.
class PrivacyModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Whether usage may be recorded and sent was answered, and whether the answer is yes.
    Q_PROPERTY(bool asked READ asked NOTIFY changed)
    Q_PROPERTY(bool shares READ shares NOTIFY changed)
    /// What went wrong with keeping the answer; empty when nothing did.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    /// The next uploads, each after a line that says where it goes; empty when nothing waits. `refresh` reads it.
    Q_PROPERTY(QString bytes READ bytes NOTIFY bytesChanged)
    /// What happened to the process before this one; empty when it ended well, or was told and dismissed.
    Q_PROPERTY(QString crashNotice READ crashNotice NOTIFY crashChanged)
    /// All that is known of it, and all that is sent where usage is shared.
    Q_PROPERTY(QString crashFields READ crashFields NOTIFY crashChanged)
public:
    /// Both outlive the model.
    PrivacyModel(Telemetry& telemetry, const std::optional<CrashReport>& crash, QObject* parent = nullptr);

    [[nodiscard]] bool asked() const { return telemetry_.consent() != Consent::notAsked; }
    [[nodiscard]] bool shares() const { return telemetry_.consent() == Consent::yes; }
    [[nodiscard]] QString problem() const { return problem_; }
    [[nodiscard]] QString bytes() const { return bytes_; }
    [[nodiscard]] QString crashNotice() const { return crashNotice_; }
    [[nodiscard]] QString crashFields() const { return crashFields_; }

    /// The answer; takes effect at once. No deletes what was recorded.
    Q_INVOKABLE void answer(bool shares);
    /// Reads answer and bytes anew: the command line may have changed them.
    Q_INVOKABLE void refresh();
    Q_INVOKABLE void dismissCrash();

signals:
    void changed();
    void bytesChanged();
    void crashChanged();

private:
    Telemetry& telemetry_;
    QString problem_;
    QString bytes_;
    QString crashNotice_;
    QString crashFields_;
};

}  // namespace tolvik
