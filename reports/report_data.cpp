#include "reports/report_data.h"

#include <algorithm>
#include <numeric>
#include <unordered_map>

namespace tolvik {
namespace {

constexpr std::string_view kUntagged = "Untagged";
constexpr std::string_view kUnknown = "Unknown";

/// Whole percents that add up to 100: the largest remainders are rounded up.
template <class Total>
void setPercents(std::vector<Total>& totals, std::int64_t whole) {
    if (whole <= 0) {
        return;
    }
    std::vector<std::pair<double, std::size_t>> remainders;
    int given = 0;
    for (std::size_t i = 0; i < totals.size(); ++i) {
        const double share = 100.0 * static_cast<double>(totals[i].totalMs) / static_cast<double>(whole);
        totals[i].percent = static_cast<int>(share);
        given += totals[i].percent;
        remainders.emplace_back(static_cast<double>(totals[i].percent) - share, i);
    }
    std::ranges::sort(remainders);
    for (std::size_t i = 0; i < remainders.size() && given < 100; ++i, ++given) {
        ++totals[remainders[i].second].percent;
    }
}

/// Sorts the totals; the result maps an old place to the new one.
template <class Total, class Name>
std::vector<std::size_t> sortTotals(std::vector<Total>& totals, Name Total::* name) {
    std::vector<std::size_t> order(totals.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, [&](std::size_t a, std::size_t b) {
        return totals[a].totalMs != totals[b].totalMs ? totals[a].totalMs > totals[b].totalMs
                                                      : totals[a].*name < totals[b].*name;
    });
    std::vector<Total> sorted;
    sorted.reserve(totals.size());
    std::vector<std::size_t> places(totals.size());
    for (const std::size_t old : order) {
        places[old] = sorted.size();
        sorted.push_back(std::move(totals[old]));
    }
    totals = std::move(sorted);
    return places;
}

/// Adds entries up by bucket, task and project.
class Aggregation {
public:
    Aggregation(const ReportQuery& query, const RecordLookup& records, const TimeZone& zone, Instant now)
        : query_(query), records_(records), zone_(zone), now_(now) {
        out_.range = query.range;
        out_.days = query.days;
        out_.spanDays = query.days.days();
        out_.strategy = strategyFor(query.range, out_.spanDays);
        splitsByTask_ = !std::holds_alternative<ProjectFilter::All>(query.filter.choice);
        places_ = bucketsOf(out_.strategy, query.days, query.firstWeekday, zone);
        cells_.resize(places_.size());
    }

    ReportData take(std::vector<TimeEntry> entries) {
        const std::int64_t from = zone_.startOf(query_.days.first).ms;
        const std::int64_t to = zone_.startOf(query_.days.last.plus(1)).ms;
        std::erase_if(entries, [&](const TimeEntry& entry) {
            const auto start = entry.startedAt.instant();
            const auto day = start ? std::nullopt : startDay(entry, zone_);
            const bool isInRange = start ? start->ms >= from && start->ms < to
                                         : day && *day >= query_.days.first && *day <= query_.days.last;
            return !isInRange || !add(entry);
        });
        out_.entries = std::move(entries);
        finish();
        return std::move(out_);
    }

private:
    /// False when the filter keeps it out.
    bool add(const TimeEntry& entry) {
        const std::size_t task = taskOf(entry.taskId);
        if (isOut_[task]) {
            return false;
        }
        const std::int64_t ms = trackedMs(entry, now_);
        const std::size_t tag = tagOf_[task];
        out_.totalMs += ms;
        tasks_[task].totalMs += ms;
        tags_[tag].totalMs += ms;
        wasUsed_[task] = true;
        const std::size_t contributor = splitsByTask_ ? task : tag;
        if (const auto start = entry.startedAt.instant()) {
            spread(start->ms, ms, contributor);
        } else if (const auto day = startDay(entry, zone_)) {
            give(bucketAt(zone_.startOf(*day).ms), contributor, ms);
        }
        return true;
    }

    void spread(std::int64_t start, std::int64_t ms, std::size_t contributor) {
        std::size_t bucket = bucketAt(start);
        while (ms > 0) {
            const bool isLast = bucket + 1 == places_.size();
            const std::int64_t part = isLast ? ms : std::min(ms, places_[bucket].end.ms - start);
            give(bucket, contributor, part);
            ms -= part;
            start += part;
            ++bucket;
        }
    }

    [[nodiscard]] std::size_t bucketAt(std::int64_t ms) const {
        const auto after = std::ranges::upper_bound(places_, ms, {}, [](const BucketPlace& p) { return p.begin.ms; });
        return after == places_.begin() ? 0 : static_cast<std::size_t>(after - places_.begin()) - 1;
    }

    void give(std::size_t bucket, std::size_t contributor, std::int64_t ms) {
        auto& row = cells_[bucket];
        if (row.size() <= contributor) {
            row.resize(contributor + 1);
        }
        row[contributor] += ms;
    }

    std::size_t taskOf(const Identifier& id) {
        const auto [found, isNew] = taskIndex_.emplace(id, tasks_.size());
        if (isNew) {
            const TaskModel* task = records_.task(id);
            const TagModel* tag = records_.projectOf(task);
            // A project that is gone is none.
            const auto tagId = tag == nullptr ? std::nullopt : std::optional(tag->id);
            tasks_.push_back({id, task == nullptr ? std::string(kUnknown) : task->title,
                              task == nullptr ? 0 : task->colorIndex, 0, 0, tagId});
            isOut_.push_back(!query_.filter.accepts(tagId));
            wasUsed_.push_back(false);
            tagOf_.push_back(isOut_.back() ? 0 : tagGroup(tag));
        }
        return found->second;
    }

    std::size_t tagGroup(const TagModel* tag) {
        const auto id = tag == nullptr ? std::nullopt : std::optional(tag->id);
        const auto found = std::ranges::find(tags_, id, &TagTotal::tagId);
        if (found != tags_.end()) {
            return static_cast<std::size_t>(found - tags_.begin());
        }
        tags_.push_back({id, tag == nullptr ? std::string(kUntagged) : tag->name,
                         tag == nullptr ? kUntaggedTone : tag->colorIndex});
        return tags_.size() - 1;
    }

    void finish() {
        // Tasks that the filter kept out have a place here and none in the report.
        std::vector<std::size_t> kept(tasks_.size());
        for (std::size_t i = 0; i < tasks_.size(); ++i) {
            kept[i] = out_.byTask.size();
            if (wasUsed_[i]) {
                out_.byTask.push_back(std::move(tasks_[i]));
            }
        }
        out_.byTag = std::move(tags_);
        const auto taskPlaces = sortTotals(out_.byTask, &TaskTotal::title);
        const auto tagPlaces = sortTotals(out_.byTag, &TagTotal::tagName);
        setPercents(out_.byTask, out_.totalMs);
        setPercents(out_.byTag, out_.totalMs);
        for (std::size_t b = 0; b < places_.size(); ++b) {
            Bucket bucket = emptyBucket(places_[b]);
            for (std::size_t c = 0; c < cells_[b].size(); ++c) {
                if (cells_[b][c] > 0) {
                    const std::size_t place = splitsByTask_ ? taskPlaces[kept[c]] : tagPlaces[c];
                    const std::int64_t tone =
                        splitsByTask_ ? out_.byTask[place].colorIndex : out_.byTag[place].colorIndex;
                    bucket.segments.push_back({tone, cells_[b][c], place});
                    bucket.totalMs += cells_[b][c];
                }
            }
            std::ranges::sort(bucket.segments, {}, &BucketSegment::contributor);
            out_.buckets.push_back(std::move(bucket));
        }
    }

    [[nodiscard]] Bucket emptyBucket(const BucketPlace& place) const {
        Bucket bucket;
        const bool isHour = out_.strategy == BucketStrategy::hourly;
        bucket.from = isHour ? formatInstant(place.begin) : place.days.first.text();
        bucket.to = isHour ? formatInstant(place.end) : place.days.last.text();
        bucket.id = bucket.from;
        bucket.label = place.label;
        bucket.days = place.days;
        bucket.isWhole = place.isWhole;
        return bucket;
    }

    const ReportQuery& query_;
    const RecordLookup& records_;
    const TimeZone& zone_;
    Instant now_;
    ReportData out_;
    bool splitsByTask_ = false;
    std::vector<BucketPlace> places_;
    /// Time by bucket and contributor.
    std::vector<std::vector<std::int64_t>> cells_;
    std::unordered_map<Identifier, std::size_t> taskIndex_;
    std::vector<TaskTotal> tasks_;
    std::vector<bool> isOut_;
    std::vector<bool> wasUsed_;
    std::vector<std::size_t> tagOf_;
    std::vector<TagTotal> tags_;
};

}  // namespace

std::optional<std::int64_t> ReportData::averageMs() const {
    std::int64_t sum = 0;
    std::int64_t count = 0;
    const std::size_t end = buckets.size() - (range == ReportRange::custom || buckets.empty() ? 0 : 1);
    for (std::size_t i = 0; i < end; ++i) {
        if (buckets[i].isWhole) {
            sum += buckets[i].totalMs;
            ++count;
        }
    }
    return count < 2 ? std::nullopt : std::optional(sum / count);
}

ReportData makeReport(const ReportQuery& query, std::vector<TimeEntry> entries, const RecordLookup& records,
                      const TimeZone& zone, Instant now) {
    return Aggregation(query, records, zone, now).take(std::move(entries));
}

}  // namespace tolvik
