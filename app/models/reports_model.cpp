#include "app/models/reports_model.h"

#include <QDate>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QVariantMap>
#include <algorithm>
#include <utility>

#include "app/models/wording.h"

namespace tolvik {
namespace {

constexpr int kMinuteMs = 60'000;
constexpr std::int64_t kHour = 3'600'000;
/// More bars than these have no room for a total each.
constexpr std::size_t kMostTotals = 27;
constexpr std::size_t kMostTicks = 5;

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QDate toDate(DayKey day) {
    return QDate(1970, 1, 1).addDays(day.days);
}

QString hoursText(std::int64_t ms) {
    return ms < kHour ? wording::length(ms) : QStringLiteral("%1h").arg((ms + kHour / 2) / kHour);
}

QString tagKey(const TagTotal& tag) {
    return tag.tagId ? wording::fromUtf8(tag.tagId->text()) : QStringLiteral("unassigned");
}

}  // namespace

ReportsModel::ReportsModel(ReportsPorts ports, QObject* parent)
    : QObject(parent),
      ports_(std::move(ports)),
      book_(ports_.store, ports_.clock, ports_.zone),
      exporter_({.store = ports_.store,
                 .clock = ports_.clock,
                 .zone = ports_.zone,
                 .workers = ports_.workers,
                 .loop = ports_.loop,
                 .pdf = ports_.pdf},
                this),
      custom_{ports_.store.today().plus(-6), ports_.store.today()},
      calendar_(ports_.store) {
    minute_.setInterval(kMinuteMs);
    connect(&minute_, &QTimer::timeout, this, &ReportsModel::update);
    connect(&exporter_, &ReportExporter::changed, this, &ReportsModel::exportChanged);
    connect(&exporter_, &ReportExporter::finished, this,
            [this](const QString& path, const QString& problem, bool cancelled) {
                const QString name = QFileInfo(path).fileName();
                ports_.toast.say(cancelled           ? QStringLiteral("Export cancelled")
                                 : problem.isEmpty() ? QStringLiteral("Exported to %1").arg(name)
                                                     : QStringLiteral("%1 was not written: %2").arg(name, problem));
            });
    storeSubscription_ = ports_.store.onChanged([this] { update(); });
}

void ReportsModel::setLive(bool live) {
    if (live == live_) {
        return;
    }
    live_ = live;
    if (live) {
        if (narrative_.isEmpty()) {
            // What failed is tried again when somebody comes back.
            told_.reset();
        }
        minute_.start();
        update();
    } else {
        minute_.stop();
    }
    Q_EMIT liveChanged();
}

DaySpan ReportsModel::days() const {
    const int firstWeekday = static_cast<int>(QLocale().firstDayOfWeek()) % 7;
    return range_ == ReportRange::custom ? custom_ : daysOf(range_, ports_.store.today(), firstWeekday);
}

void ReportsModel::update() {
    if (!live_) {
        return;
    }
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter_.choice);
        tag != nullptr && ports_.store.tagById(tag->id) == nullptr) {
        filter_ = {};
    }
    const auto next = book_.report({.range = range_,
                                    .days = days(),
                                    .filter = filter_,
                                    .firstWeekday = static_cast<int>(QLocale().firstDayOfWeek()) % 7});
    const bool isNew = next != report_;
    if (isNew) {
        report_ = next;
        updateBars();
        updateShares();
        calendar_.update();
    }
    updateNarrative(isNew);
    Q_EMIT changed();
}

bool ReportsModel::isDaily() const {
    return report_ && report_->strategy != BucketStrategy::weekly && report_->strategy != BucketStrategy::monthly;
}

std::int64_t ReportsModel::highest() const {
    std::int64_t most = 0;
    for (const Bucket& bucket : report_->buckets) {
        most = std::max(most, bucket.totalMs);
    }
    return most;
}

void ReportsModel::updateBars() {
    const std::int64_t most = highest();
    const std::size_t step = labelStep(report_->buckets.size());
    const bool filtered = !std::holds_alternative<ProjectFilter::All>(filter_.choice);
    const auto top = std::ranges::max_element(report_->buckets, {}, &Bucket::totalMs);
    const bool all = !isDaily() && report_->buckets.size() <= kMostTotals;
    std::vector<ReportBarRow> rows;
    for (std::size_t i = 0; i < report_->buckets.size(); ++i) {
        const Bucket& bucket = report_->buckets[i];
        ReportBarRow row;
        row.id = text(bucket.id);
        row.label = i % step == 0 ? text(bucket.label) : QString();
        row.highest = most > 0 && &bucket == &*top;
        row.last = i + 1 == report_->buckets.size();
        row.fraction = most > 0 ? static_cast<double>(bucket.totalMs) / static_cast<double>(most) : 0;
        if (bucket.totalMs > 0 && (all || row.highest || row.last)) {
            row.totalText = all ? hoursText(bucket.totalMs) : wording::length(bucket.totalMs);
        }
        row.day = bucket.days.first.days;
        const QString period =
            report_->strategy == BucketStrategy::hourly || report_->strategy == BucketStrategy::monthly
                ? text(bucket.label)
            : bucket.days.first == bucket.days.last
                ? wording::longDay(bucket.days.first, ports_.store.today())
                : QStringLiteral("Week of %1").arg(wording::shortDay(bucket.days.first, ports_.store.today()));
        QStringList parts;
        row.details = period + QStringLiteral("  ") + wording::length(bucket.totalMs);
        for (const BucketSegment& segment : bucket.segments) {
            QVariantMap part;
            part[QStringLiteral("color")] = static_cast<int>(segment.tone);
            part[QStringLiteral("project")] = !filtered;
            part[QStringLiteral("share")] =
                bucket.totalMs > 0 ? static_cast<double>(segment.ms) / static_cast<double>(bucket.totalMs) : 0.0;
            part[QStringLiteral("tag")] = static_cast<int>(segment.contributor);
            row.segments << part;
            const QString name = wording::fromUtf8(filtered ? report_->byTask[segment.contributor].title
                                                            : report_->byTag[segment.contributor].tagName);
            parts << name + u' ' + wording::spokenLength(segment.ms);
            row.details += QStringLiteral("\n%1  %2").arg(name, wording::length(segment.ms));
        }
        row.spoken = QStringLiteral("%1, %2").arg(period, wording::spokenLength(bucket.totalMs));
        if (!parts.isEmpty()) {
            row.spoken += QStringLiteral(": ") + parts.join(QStringLiteral(", "));
        }
        rows.push_back(std::move(row));
    }
    bars_.update(std::move(rows));
}

void ReportsModel::updateShares() {
    const bool filtered = !std::holds_alternative<ProjectFilter::All>(filter_.choice);
    const auto lastHas = [&](std::size_t contributor) {
        const auto& segments = report_->buckets.back().segments;
        return std::ranges::find(segments, contributor, &BucketSegment::contributor) != segments.end();
    };
    const auto row = [](const QString& id, const std::string& name, std::int64_t color, std::int64_t ms, int percent,
                        std::int64_t most) {
        ReportShareRow made;
        made.id = id;
        made.name = wording::fromUtf8(name);
        made.colorIndex = static_cast<int>(color);
        made.lengthText = wording::length(ms);
        made.percentText = QStringLiteral("%1 %").arg(percent);
        made.share = most > 0 ? static_cast<double>(ms) / static_cast<double>(most) : 0;
        made.spoken = QStringLiteral("%1, %2, %3 percent").arg(made.name, wording::spokenLength(ms)).arg(percent);
        return made;
    };
    std::vector<ReportShareRow> projects;
    for (std::size_t i = 0; i < report_->byTag.size(); ++i) {
        const TagTotal& tag = report_->byTag[i];
        if (tag.totalMs == 0 && i > 0) {
            // The rest has no time either: the largest come first.
            break;
        }
        projects.push_back(
            row(tagKey(tag), tag.tagName, tag.colorIndex, tag.totalMs, tag.percent, report_->byTag.front().totalMs));
        projects.back().inLastBar = !filtered && lastHas(i);
    }
    projects_.update(std::move(projects));
    std::vector<ReportShareRow> tasks;
    for (const TaskTotal& task : report_->byTask) {
        if (task.totalMs == 0 && !tasks.empty()) {
            break;
        }
        tasks.push_back(row(wording::fromUtf8(task.taskId.text()), task.title, task.colorIndex, task.totalMs,
                            task.percent, report_->byTask.front().totalMs));
        const TagModel* tag = task.tagId ? ports_.store.tagById(*task.tagId) : nullptr;
        if (tag != nullptr) {
            tasks.back().project = wording::fromUtf8(tag->name);
            tasks.back().projectColor = static_cast<int>(tag->colorIndex);
        }
    }
    tasks_.update(std::move(tasks));
}

void ReportsModel::updateNarrative(bool isNew) {
    if (!ports_.narrative) {
        return;
    }
    const Told next{days(), ports_.isSignedIn && ports_.isSignedIn()};
    if (told_ == next && (next.byServer || !isNew)) {
        return;
    }
    if (told_ != next) {
        narrative_.clear();
        Q_EMIT narrativeChanged();
    }
    told_ = next;
    ports_.narrative(next.days, [model = QPointer(this), next](const std::optional<std::string>& words) {
        if (model && model->told_ == next && words) {
            model->narrative_ = wording::fromUtf8(*words);
            Q_EMIT model->narrativeChanged();
        }
    });
}

void ReportsModel::accountChanged() {
    if (live_ && report_) {
        updateNarrative(false);
    }
}

QString ReportsModel::range() const {
    return text(nameOf(range_));
}

void ReportsModel::setRange(const QString& name) {
    if (const auto range = reportRangeNamed(name.toStdString()); range && *range != range_) {
        if (*range == ReportRange::custom) {
            custom_ = days();
        }
        range_ = *range;
        update();
    }
}

QString ReportsModel::firstDay() const {
    return wording::fromUtf8(days().first.text());
}

QString ReportsModel::lastDay() const {
    return wording::fromUtf8(days().last.text());
}

bool ReportsModel::setDays(const QString& first, const QString& last) {
    const auto from = DayKey::parse(first.trimmed().toStdString());
    const auto to = DayKey::parse(last.trimmed().toStdString());
    if (!from || !to || *to < *from) {
        return false;
    }
    custom_ = {*from, *to};
    range_ = ReportRange::custom;
    update();
    return true;
}

void ReportsModel::pickFirst(int day) {
    custom_ = {DayKey{day}, std::max(DayKey{day}, days().last)};
    range_ = ReportRange::custom;
    update();
}

void ReportsModel::pickLast(int day) {
    custom_ = {std::min(DayKey{day}, days().first), DayKey{day}};
    range_ = ReportRange::custom;
    update();
}

QString ReportsModel::filterId() const {
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter_.choice)) {
        return wording::fromUtf8(tag->id.text());
    }
    return std::holds_alternative<ProjectFilter::All>(filter_.choice) ? QStringLiteral("all")
                                                                      : QStringLiteral("unassigned");
}

void ReportsModel::setFilterId(const QString& id) {
    if (id != filterId()) {
        filter_ = {};
        if (id == QStringLiteral("unassigned")) {
            filter_.choice = ProjectFilter::Unassigned{};
        } else if (id != QStringLiteral("all")) {
            filter_.choice = ProjectFilter::Tag{Identifier(id.toStdString())};
        }
        update();
    }
}

QString ReportsModel::filterText() const {
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter_.choice)) {
        const TagModel* project = ports_.store.tagById(tag->id);
        return project != nullptr ? wording::fromUtf8(project->name) : QStringLiteral("Deleted project");
    }
    return std::holds_alternative<ProjectFilter::All>(filter_.choice) ? QStringLiteral("All projects")
                                                                      : QStringLiteral("No project");
}

QString ReportsModel::totalText() const {
    return wording::length(report_ ? report_->totalMs : 0);
}

QString ReportsModel::totalSpoken() const {
    return wording::spokenLength(report_ ? report_->totalMs : 0) + QStringLiteral(", ") + spanText();
}

QString ReportsModel::spanText() const {
    const DaySpan span = days();
    const QDate first = toDate(span.first);
    const QDate last = toDate(span.last);
    const QLocale locale;
    QString end = locale.toString(last, QStringLiteral("d MMMM yyyy"));
    if (first == last) {
        return end;
    }
    const bool sameYear = first.year() == last.year();
    return locale.toString(first, sameYear ? QStringLiteral("d MMMM") : QStringLiteral("d MMMM yyyy")) +
           QStringLiteral(" – ") + end;
}

QString ReportsModel::averageLabel() const {
    if (!report_ || !report_->averageMs()) {
        return {};
    }
    switch (report_->strategy) {
        case BucketStrategy::hourly:
            return {};
        case BucketStrategy::dailyWeekLabeled:
        case BucketStrategy::dailyDayLabeled:
            return QStringLiteral("Full days average");
        case BucketStrategy::weekly:
            return QStringLiteral("Full weeks average");
        case BucketStrategy::monthly:
            return QStringLiteral("Full months average");
    }
    return {};
}

QString ReportsModel::averageText() const {
    return averageLabel().isEmpty() ? QString() : wording::length(*report_->averageMs());
}

QString ReportsModel::chartTitle() const {
    return report_ ? text(tolvik::chartTitle(report_->range, report_->spanDays)) : QString();
}

std::int64_t ReportsModel::axisStep() const {
    const std::int64_t most = highest();
    std::int64_t step = kHour / 4;
    for (const std::int64_t next : {kHour / 2, kHour, 2 * kHour, 4 * kHour, 8 * kHour, 24 * kHour}) {
        if (most / step <= static_cast<std::int64_t>(kMostTicks)) {
            break;
        }
        step = next;
    }
    return step;
}

QVariantList ReportsModel::ticks() const {
    QVariantList lines;
    if (!report_ || !isDaily() || highest() == 0) {
        return lines;
    }
    const std::int64_t step = axisStep();
    for (std::int64_t at = step; at <= highest(); at += step) {
        QVariantMap line;
        line[QStringLiteral("text")] = at % kHour == 0 ? QStringLiteral("%1h").arg(at / kHour) : wording::length(at);
        line[QStringLiteral("fraction")] = static_cast<double>(at) / static_cast<double>(highest());
        lines << line;
    }
    return lines;
}

QString ReportsModel::capMessage() const {
    return report_ ? text(report_->capMessage()) : QString();
}

void ReportsModel::showDay(int day) {
    ports_.store.selectDate(DayKey{day});
    Q_EMIT homeWanted();
}

void ReportsModel::showTask(const QString& taskId) {
    const Identifier id(taskId.toStdString());
    std::optional<DayKey> last;
    for (const TimeEntry& entry : report_ ? report_->entries : std::vector<TimeEntry>{}) {
        const auto day = entry.taskId == id ? startDay(entry, ports_.zone) : std::nullopt;
        if (day && (!last || *last < *day)) {
            last = day;
        }
    }
    if (last) {
        showDay(last->days);
    }
}

void ReportsModel::exportAs(const QString& format) {
    if (!report_ || !ports_.chooseFile || exporter_.isBusy()) {
        return;
    }
    const DaySpan span = exportedPart(days());
    const QString suggested =
        QStringLiteral("tolvik-%1-to-%2.%3")
            .arg(wording::fromUtf8(span.first.text()), wording::fromUtf8(span.last.text()), format);
    const auto kind = format == QStringLiteral("csv")    ? ReportExporter::Format::csv
                      : format == QStringLiteral("json") ? ReportExporter::Format::json
                                                         : ReportExporter::Format::pdf;
    const QString filter = QStringLiteral("%1 (*.%2)").arg(format.toUpper(), format);
    ports_.chooseFile(suggested, filter, [model = QPointer(this), report = report_, kind, span](const QString& path) {
        if (model && !path.isEmpty()) {
            model->exporter_.start(kind, path, report, span);
        }
    });
}

}  // namespace tolvik
