#pragma once

#include <string>

#include "base/result.h"
#include "commands/command_message.h"
#include "core/record_json.h"
#include "reports/report_book.h"

namespace tolvik {

/// The days and the range kind that the options --range, --from and --to ask for, without the project; a month when
/// they are not given. The error says what to write instead.
[[nodiscard]] Result<ReportQuery, std::string> reportQueryOf(const CommandRequest& request, DayKey today);

/// What an export needs of the log: the entries of a range, their tasks and the projects; no switches.
[[nodiscard]] Result<WholeLog, CommandResponse> takeLogPart(const AppStore& store, DaySpan days,
                                                            const CommandRequest& request);
/// The same as JSON, for a request whose arguments are the first and the last day.
[[nodiscard]] CommandResponse runLogPart(const AppStore& store, const CommandRequest& request);

/// Where the time of a range went: chart and tables for a terminal, or with --json everything.
[[nodiscard]] CommandResponse runReport(const AppStore& store, ReportBook& book, const CommandRequest& request);

}  // namespace tolvik
