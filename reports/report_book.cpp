#include "reports/report_book.h"

#include <functional>

namespace tolvik {
namespace {

constexpr std::int64_t kMinuteMs = 60'000;
constexpr std::string_view kUntaggedKey = "__untagged__";

std::uint64_t mixed(std::uint64_t hash, std::uint64_t more) {
    // The 64-bit prime of the FNV hash, public domain by its authors.
    return (hash ^ more) * 0x0000'0100'0000'01B3U;
}

std::optional<std::string> keyOf(const ProjectFilter& filter) {
    if (const auto* tag = std::get_if<ProjectFilter::Tag>(&filter.choice)) {
        return tag->id.text();
    }
    return std::holds_alternative<ProjectFilter::All>(filter.choice) ? std::nullopt
                                                                     : std::optional(std::string(kUntaggedKey));
}

}  // namespace

ReportInputs ReportBook::inputsOf(const ReportQuery& query, Instant now) const {
    std::uint64_t fingerprint = mixed(store_.revision() + 1, std::hash<std::string>{}(zone_.name()));
    fingerprint = mixed(fingerprint, static_cast<std::uint64_t>(query.firstWeekday));
    if (const TimeEntry* running = store_.runningEntry()) {
        const auto day = startDay(*running, zone_);
        if (day && *day >= query.days.first && *day <= query.days.last) {
            fingerprint = mixed(fingerprint, static_cast<std::uint64_t>(now.ms / kMinuteMs));
        }
    }
    return {query.days.first, query.days.last, fingerprint, keyOf(query.filter), std::string(nameOf(query.range))};
}

std::shared_ptr<const ReportData> ReportBook::report(const ReportQuery& query) {
    const Instant now = clock_.now();
    auto inputs = inputsOf(query, now);
    if (!last_ || inputs_ != inputs) {
        last_ = std::make_shared<const ReportData>(
            makeReport(query, store_.entriesStarting(query.days.first, query.days.last), lookupIn(store_), zone_, now));
        // Reading the entries may have found a piece that cannot be read, which changes the log.
        inputs_ = inputsOf(query, now);
        ++computed_;
    }
    return last_;
}

RecordLookup lookupIn(const AppStore& store) {
    return {[&store](const Identifier& id) { return store.taskById(id); },
            [&store](const Identifier& id) { return store.tagById(id); }};
}

}  // namespace tolvik
