#include "app/models/day_ribbon_model.h"

#include <QFont>
#include <QFontMetricsF>
#include <QVariantMap>
#include <algorithm>
#include <array>
#include <cmath>

#include "app/models/wording.h"

namespace tolvik {
namespace {

constexpr int kLeastHours = 10;
constexpr int kUsualFirstHour = 8;
constexpr int kLabelPixels = 11;
// Fine enough for any screen, coarse enough that a running entry does not repaint the ribbon each second.
constexpr double kSteps = 8192;

Instant hourOf(DayKey day, int hour, const TimeZone& zone) {
    if (hour >= 24) {
        return zone.startOf(day.plus(1));
    }
    if (hour <= 0) {
        return zone.startOf(day);
    }
    // An hour that the clocks skip stands where the next one begins.
    for (int h = hour; h < 24; ++h) {
        if (const auto instant = zone.at(day, {.hour = h})) {
            return *instant;
        }
    }
    return zone.startOf(day.plus(1));
}

double measureLabel(const QString& text) {
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(kLabelPixels);
    font.setWeight(QFont::Medium);
    return QFontMetricsF(font).horizontalAdvance(text);
}

}  // namespace

std::span<const RowRole<RibbonSegment>> RibbonSegment::roles() {
    static constexpr std::array all{
        rowRole<&RibbonSegment::taskId>("taskId"),
        rowRole<&RibbonSegment::title>("title"),
        rowRole<&RibbonSegment::colorIndex>("colorIndex"),
        rowRole<&RibbonSegment::from>("from"),
        rowRole<&RibbonSegment::to>("to"),
        rowRole<&RibbonSegment::length>("lengthText"),
        rowRole<&RibbonSegment::running>("running"),
        RowRole<RibbonSegment>{"showsLength", [](const RibbonSegment& row) { return QVariant(row.label.showsLength); }},
        RowRole<RibbonSegment>{"titleLines",
                               [](const RibbonSegment& row) { return QVariant(row.label.titleLines.join(u'\n')); }},
        rowRole<&RibbonSegment::spoken>("spoken")};
    return all;
}

double DayRibbonModel::Frame::position(Instant instant) const {
    const auto span = static_cast<double>((end - start).count());
    const auto passed = static_cast<double>((instant - start).count());
    return span <= 0 ? 0 : std::clamp(std::round(passed / span * kSteps) / kSteps, 0.0, 1.0);
}

void DayRibbonModel::markStale() {
    stale_ = true;
    Q_EMIT updateWanted();
}

void DayRibbonModel::setWholeDay(bool wholeDay) {
    if (wholeDay != wholeDay_) {
        wholeDay_ = wholeDay;
        markStale();
    }
}

void DayRibbonModel::setLabelHours(int hours) {
    if (hours != labelHours_ && hours > 0) {
        labelHours_ = hours;
        markStale();
    }
}

void DayRibbonModel::setWidth(double width) {
    if (width != width_) {
        width_ = width;
        markStale();
    }
}

DayRibbonModel::Frame DayRibbonModel::frameOf(const AppStore& store, const TimeZone& zone, Instant now) const {
    Frame frame{.day = store.currentDate()};
    const Instant dayStart = zone.startOf(frame.day);
    const Instant dayEnd = zone.startOf(frame.day.plus(1));
    if (!wholeDay_) {
        int first = 24;
        int last = 0;
        const auto include = [&](Instant from, Instant to) {
            first = std::min(first, from <= dayStart ? 0 : zone.timeOf(from).hour);
            const LocalTime end = zone.timeOf(to);
            last = std::max(last, to >= dayEnd ? 24 : end.hour + (end.minute > 0 || end.second > 0 ? 1 : 0));
        };
        for (const TimeEntry& entry : store.dateEntries()) {
            const auto from = entry.startedAt.instant();
            const auto to = entry.endedAt ? entry.endedAt->instant() : std::optional(now);
            if (from && to && *to >= *from && *from < dayEnd && *to > dayStart) {
                include(*from, *to);
            }
        }
        const bool worked = first < 24;
        if (now >= dayStart && now < dayEnd) {
            const int hour = zone.timeOf(now).hour;
            last = std::max(last, hour + 1);
            first = worked ? first : std::min(hour, kUsualFirstHour);
        }
        frame.firstHour = std::min(worked || first < 24 ? first : kUsualFirstHour, 24 - kLeastHours);
        frame.lastHour = std::clamp(last, frame.firstHour + kLeastHours, 24);
    }
    frame.start = hourOf(frame.day, frame.firstHour, zone);
    frame.end = hourOf(frame.day, frame.lastHour, zone);
    return frame;
}

QVariantList DayRibbonModel::hoursOf(const Frame& frame, const TimeZone& zone) const {
    const int hours = frame.lastHour - frame.firstHour;
    // With more than half a day in it the axis would otherwise be crowded.
    const int step = labelHours_ * (hours > 14 ? 2 : 1);
    QVariantList list;
    for (int hour = frame.firstHour; hour <= frame.lastHour; hour += step) {
        const bool atEdge = hour == frame.firstHour || hour == frame.lastHour;
        QVariantMap item;
        item[QStringLiteral("at")] = frame.position(hourOf(frame.day, hour, zone));
        item[QStringLiteral("text")] = wording::timeOfDay({.hour = hour % 24});
        item[QStringLiteral("tick")] = !atEdge;
        list << item;
    }
    return list;
}

void DayRibbonModel::setNow(const Frame& frame, const TimeZone& zone, Instant now, bool today) {
    const double at = today ? frame.position(now) : -1;
    const QString text = today ? wording::timeOfDay(now, zone) : QString();
    if (at != now_ || text != nowText_) {
        now_ = at;
        nowText_ = text;
        Q_EMIT nowChanged();
    }
}

void DayRibbonModel::update(const AppStore& store, const TimeZone& zone, Instant now) {
    stale_ = false;
    const Frame frame = frameOf(store, zone, now);
    std::vector<RibbonSegment> next;
    for (const TimeEntry& entry : store.dateEntries()) {
        const auto from = entry.startedAt.instant();
        const auto to = entry.endedAt ? entry.endedAt->instant() : std::optional(now);
        if (!from || !to || (*to <= *from && !entry.isRunning()) || *from >= frame.end || *to <= frame.start) {
            continue;
        }
        const Instant shownFrom = std::max(*from, zone.startOf(frame.day));
        const Instant shownTo = std::min(*to, zone.startOf(frame.day.plus(1)));
        const std::int64_t ms = (shownTo - shownFrom).count();
        const TaskModel* task = store.taskById(entry.taskId);
        const QString title = task != nullptr ? wording::fromUtf8(task->title) : QStringLiteral("Deleted task");
        next.push_back({.entryId = wording::fromUtf8(entry.id.text()),
                        .taskId = wording::fromUtf8(entry.taskId.text()),
                        .title = title,
                        .colorIndex = task != nullptr ? static_cast<int>(task->colorIndex) : -1,
                        .from = frame.position(*from),
                        .to = frame.position(*to),
                        .length = wording::length(ms),
                        .spoken = QStringLiteral("%1, from %2 to %3, %4")
                                      .arg(title, wording::timeOfDay(shownFrom, zone),
                                           entry.endedAt ? wording::timeOfDay(shownTo, zone) : QStringLiteral("now"),
                                           wording::spokenLength(ms)),
                        .running = entry.isRunning()});
    }
    std::ranges::stable_sort(next, {}, &RibbonSegment::from);

    std::vector<RibbonStretch> stretches;
    stretches.reserve(next.size());
    for (const RibbonSegment& segment : next) {
        stretches.push_back({.x = segment.from * width_, .taskId = segment.taskId, .title = segment.title});
    }
    const std::vector<RibbonLabel> labels = ribbonLabels(stretches, width_, measureLabel);
    int lines = 0;
    for (std::size_t i = 0; i < next.size(); ++i) {
        next[i].label = labels[i];
        lines = std::max(lines, static_cast<int>(labels[i].titleLines.size()) + (labels[i].showsLength ? 1 : 0));
    }
    assign(std::move(next));
    if (lines != labelLines_) {
        labelLines_ = lines;
        Q_EMIT labelLinesChanged();
    }
    setNow(frame, zone, now, store.isViewingToday());
    QVariantList hours = hoursOf(frame, zone);
    if (hours != hours_) {
        hours_ = std::move(hours);
        Q_EMIT frameChanged();
    }
}

}  // namespace tolvik
