#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include "app/models/day_strip_model.h"

namespace tolvik {

/// A month to choose a day from, never a month to come. Days are day numbers. Main thread only.
class CalendarModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to a page's model")
    Q_PROPERTY(tolvik::DayStripModel* days READ days CONSTANT)
    /// "November 2026".
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(bool isPresent READ isPresent NOTIFY changed)
    Q_PROPERTY(QStringList weekLetters READ weekLetters CONSTANT)
public:
    /// The store outlives the model.
    explicit CalendarModel(const AppStore& store, QObject* parent = nullptr);

    [[nodiscard]] DayStripModel* days() { return &days_; }
    [[nodiscard]] QString title() const;
    [[nodiscard]] bool isPresent() const;
    [[nodiscard]] QStringList weekLetters() const;

    /// Shows the month of a day.
    Q_INVOKABLE void show(int day);
    Q_INVOKABLE void shift(int months);
    /// The log changed; costs nothing before the first `show`.
    void update();

signals:
    void changed();

private:
    [[nodiscard]] static DayKey monthOf(DayKey day);

    const AppStore& store_;
    DayStripModel days_;
    DayKey start_;
    bool used_ = false;
};

}  // namespace tolvik
