#pragma once

#include <QStringList>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "app/models/ribbon_labels.h"
#include "base/clock.h"
#include "core/app_store.h"

namespace tolvik {

struct RibbonSegment {
    QString entryId;
    QString taskId;
    QString title;
    int colorIndex = 0;
    /// Of the ribbon's stretch, from 0 to 1.
    double from = 0;
    double to = 0;
    QString length;
    QString spoken;
    bool running = false;
    RibbonLabel label{};

    [[nodiscard]] const QString& key() const { return entryId; }
    static std::span<const RowRole<RibbonSegment>> roles();
    bool operator==(const RibbonSegment&) const = default;
};

/// The shown day as a stretch of hours with the intervals worked in it, in order of time. On days when the clocks
/// change, a position is still proportional to the time that has really passed.
class DayRibbonModel : public KeyedListModel<RibbonSegment> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
    /// From midnight to midnight instead of the hours around the work.
    Q_PROPERTY(bool wholeDay READ wholeDay WRITE setWholeDay NOTIFY frameChanged)
    /// Hours between two labels of the axis.
    Q_PROPERTY(int labelHours READ labelHours WRITE setLabelHours NOTIFY frameChanged)
    /// Pixels; decides which labels fit.
    Q_PROPERTY(double width READ width WRITE setWidth NOTIFY frameChanged)
    /// The labelled hours: objects with `at` (0 to 1), `text` and `tick` (whether a tick is drawn).
    Q_PROPERTY(QVariantList hours READ hours NOTIFY frameChanged)
    /// Where now is, from 0 to 1; negative when the day is not today.
    Q_PROPERTY(double now READ now NOTIFY nowChanged)
    Q_PROPERTY(QString nowText READ nowText NOTIFY nowChanged)
    /// The most lines that any label has.
    Q_PROPERTY(int labelLines READ labelLines NOTIFY labelLinesChanged)
public:
    using KeyedListModel::KeyedListModel;

    [[nodiscard]] bool wholeDay() const { return wholeDay_; }
    void setWholeDay(bool wholeDay);
    [[nodiscard]] int labelHours() const { return labelHours_; }
    void setLabelHours(int hours);
    [[nodiscard]] double width() const { return width_; }
    void setWidth(double width);
    [[nodiscard]] QVariantList hours() const { return hours_; }
    [[nodiscard]] double now() const { return now_; }
    [[nodiscard]] QString nowText() const { return nowText_; }
    [[nodiscard]] int labelLines() const { return labelLines_; }

    void update(const AppStore& store, const TimeZone& zone, Instant now);
    /// Whether what was set since the last update asks for another one.
    [[nodiscard]] bool isStale() const { return stale_; }

signals:
    void frameChanged();
    void nowChanged();
    void labelLinesChanged();
    /// A property was set that the next update takes into account.
    void updateWanted();

private:
    struct Frame {
        DayKey day;
        Instant start{};
        Instant end{};
        int firstHour = 0;
        int lastHour = 24;

        [[nodiscard]] double position(Instant instant) const;
    };
    [[nodiscard]] Frame frameOf(const AppStore& store, const TimeZone& zone, Instant now) const;
    [[nodiscard]] QVariantList hoursOf(const Frame& frame, const TimeZone& zone) const;
    void markStale();
    void setNow(const Frame& frame, const TimeZone& zone, Instant now, bool today);

    bool wholeDay_ = false;
    int labelHours_ = 1;
    double width_ = 0;
    bool stale_ = false;
    QVariantList hours_;
    double now_ = -1;
    QString nowText_;
    int labelLines_ = 0;
};

}  // namespace tolvik
