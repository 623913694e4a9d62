#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "reports/export_output.h"

namespace tolvik {

/// One line of the table of entries, as it is printed.
struct PdfRow {
    std::string day;
    std::string task;
    std::string start;
    std::string end;
    std::string duration;
};

struct PdfTask {
    std::string title;
    std::string total;
};

struct PdfProject {
    std::string title;
    /// "12:30:00 total · 5 entries · 2 tasks"
    std::string counts;
    std::vector<PdfTask> tasks;
};

/// A report for paper: what is printed, without how. Texts only, so that what draws it needs nothing of the log.
struct PdfReport {
    /// The document's title: "Tolvik AI Export, 2026-11-01 to 2026-11-30".
    std::string title;
    std::string heading;
    /// "Exported Nov 10, 2026 at 12:00 PM"
    std::string exported;
    std::string entriesTitle;
    /// "DATE", "TASK", "START", "END", "DURATION"
    PdfRow columns;
    std::size_t rowCount = 0;
    /// The rows one by one, so that they need not stand in memory together.
    std::function<PdfRow(std::size_t index)> rowAt;
    /// The line below the rows; without rows `empty` stands instead.
    PdfRow total;
    std::string empty;
    std::string projectsTitle;
    std::vector<PdfProject> projects;
    /// Before a page's number: "Page ".
    std::string footer;
};

/// Draws a report on pages.
class PdfWriter {
public:
    PdfWriter() = default;
    PdfWriter(const PdfWriter&) = delete;
    PdfWriter& operator=(const PdfWriter&) = delete;
    virtual ~PdfWriter() = default;

    /// Pages of US Letter, 612 by 792 points. Any thread, one at a time; blocks.
    [[nodiscard]] virtual Result<void, ExportError> write(const PdfReport& report, const ExportOutput& output) = 0;
};

}  // namespace tolvik
