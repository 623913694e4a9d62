#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "base/result.h"
#include "commands/command_message.h"
#include "core/app_store.h"
#include "voice/parse/command.h"

namespace tolvik {

/// What the reports look at.
struct ReportView {
    const AppStore& store;
    const Clock& clock;
    const TimeZone& timeZone;
};

/// How a report is written.
enum class ReportForm : std::uint8_t { plain, coloured, json };
/// As the request's options ask.
[[nodiscard]] ReportForm formOf(const CommandRequest& request);

/// The running task first; else how to go on.
[[nodiscard]] std::string statusReport(const ReportView& view, ReportForm form);
/// The entries of a day, cut at its midnights, and the sum of each task.
[[nodiscard]] std::string dayReport(const ReportView& view, DayKey day, ReportForm form);
/// The candidates with their positions, then the other open tasks, then with `finished` the finished ones, each by
/// latest change.
[[nodiscard]] std::string taskReport(const ReportView& view, const std::vector<TaskInfo>& candidates, bool finished,
                                     ReportForm form);
/// `current`: the project that new tasks go to.
[[nodiscard]] std::string projectReport(const ReportView& view, const std::optional<Identifier>& current,
                                        ReportForm form);

/// "yyyy-mm-dd", "today", "yesterday", or a number of days back.
[[nodiscard]] Result<DayKey, std::string> dayNamed(std::string_view text, DayKey today);

}  // namespace tolvik
