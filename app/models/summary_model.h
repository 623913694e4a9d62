#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <optional>

#include "ai/assistant.h"

namespace tolvik {

/// The card that tells the shown day in words. Signed in the server is asked once for a day; signed out the device's
/// own words follow the log. Main thread only.
class SummaryModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Whether anybody looks. While false nothing is asked.
    Q_PROPERTY(bool live READ live WRITE setLive NOTIFY changed)
    /// Of the shown day; empty while there is none, then there is no card.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    /// "5 tasks · 2 focus blocks · mostly Harbour".
    Q_PROPERTY(QString detail READ detail NOTIFY changed)
public:
    /// All outlive the model. `isSignedIn` answers without waiting.
    SummaryModel(Assistant& assistant, AppStore& store, std::function<bool()> isSignedIn, QObject* parent = nullptr);

    [[nodiscard]] bool live() const { return live_; }
    void setLive(bool live);
    [[nodiscard]] QString text() const;
    [[nodiscard]] QString detail() const;
    /// Somebody signed in or out.
    void accountChanged() { update(); }

signals:
    void changed();

private:
    /// What a summary depends on.
    struct Basis {
        DayKey day;
        bool byServer = false;
        /// Of the device's own words: the log, and the minutes that a running task has grown.
        std::uint64_t revision = 0;
        int minutes = 0;
        bool operator==(const Basis&) const = default;
    };
    void update();
    [[nodiscard]] const DaySummary* shown() const;

    AppStore& store_;
    std::function<bool()> isSignedIn_;
    SummaryCard card_;
    std::optional<Basis> asked_;
    /// The day of the card's summary.
    std::optional<DayKey> day_;
    int minutes_ = 0;
    bool live_ = false;
    QTimer minute_;
    Subscription storeSubscription_;
};

}  // namespace tolvik
