#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/app_store.h"
#include "reports/report_data.h"

namespace tolvik {

/// What a report depends on: while it stays equal, the last one holds.
struct ReportInputs {
    DayKey from;
    DayKey to;
    /// Changes with every change of an entry, task or project, with zone and first weekday, and once a minute while a
    /// running entry counts.
    std::uint64_t dataFingerprint = 0;
    /// Absent for all projects; the untagged group has a name of its own.
    std::optional<std::string> selectedProjectId;
    std::string range;

    bool operator==(const ReportInputs&) const = default;
};

/// The reports on a log. Keeps the last one. Main loop only; what it was made with outlives it.
class ReportBook {
public:
    ReportBook(const AppStore& store, const Clock& clock, const TimeZone& zone)
        : store_(store), clock_(clock), zone_(zone) {}

    /// The report on a query, from the log only when something differs from the last time. Never null.
    [[nodiscard]] std::shared_ptr<const ReportData> report(const ReportQuery& query);
    /// How often a report was computed.
    [[nodiscard]] std::uint64_t computed() const { return computed_; }

private:
    [[nodiscard]] ReportInputs inputsOf(const ReportQuery& query, Instant now) const;

    const AppStore& store_;
    const Clock& clock_;
    const TimeZone& zone_;
    std::optional<ReportInputs> inputs_;
    std::shared_ptr<const ReportData> last_;
    std::uint64_t computed_ = 0;
};

/// Records of a store, by id. Good for as long as the store lives and no record changes.
[[nodiscard]] RecordLookup lookupIn(const AppStore& store);

}  // namespace tolvik
