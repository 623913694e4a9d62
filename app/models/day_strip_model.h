#pragma once

#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "core/app_store.h"

namespace tolvik {

struct DayCell {
    int day = 0;
    /// Milliseconds tracked.
    std::int64_t trackedMs = 0;
    /// Of the fullest day in the list, from 0 to 1.
    double fraction = 0;
    bool selected = false;
    bool today = false;
    bool future = false;
    /// Belongs to the month that is shown; always true in the strip.
    bool inMonth = true;
    QString spoken;

    [[nodiscard]] int key() const { return day; }
    static std::span<const RowRole<DayCell>> roles();
    bool operator==(const DayCell&) const = default;
};

/// Days with the time tracked on them: the strip above the ribbon, or a month of six weeks.
class DayStripModel : public KeyedListModel<DayCell> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
    /// How many days the strip shows.
    Q_PROPERTY(int length READ length WRITE setLength NOTIFY lengthChanged)
public:
    using KeyedListModel::KeyedListModel;
    [[nodiscard]] int length() const { return length_; }
    void setLength(int days);

    /// The days up to today, or the block of `length` days before them in which the shown day lies.
    void update(const AppStore& store);
    /// The six weeks that hold the month of `monthStart`, from the locale's first day of the week.
    void updateMonth(const AppStore& store, DayKey monthStart);

signals:
    void lengthChanged();

private:
    [[nodiscard]] static std::vector<DayCell> cells(const AppStore& store, DayKey first, DayKey last);

    int length_ = 14;
};

}  // namespace tolvik
