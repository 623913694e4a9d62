#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "reports/report_data.h"

namespace tolvik {

/// The terminal that a report is written for.
struct ReportPaper {
    std::size_t columns = 80;
    bool isColoured = false;
};

/// A chart of bars and the totals of projects and tasks. `project` is the name of the only one, if there is one.
[[nodiscard]] std::string reportText(const ReportData& report, std::string_view project, const ReportPaper& paper);

/// The whole report but its entries, which an export has, as one line of JSON.
[[nodiscard]] std::string reportJson(const ReportData& report);

}  // namespace tolvik
