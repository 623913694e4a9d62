#pragma once

#include "reports/export_output.h"
#include "reports/export_rows.h"

namespace tolvik {

/// One line a row below a line of names, parted by single line feeds, none at the end:
/// date,project,task_title,task_status,start_time,end_time,duration_minutes. Project and title are always quoted, and
/// marked with an apostrophe where a spreadsheet program would take them for a formula.
[[nodiscard]] Result<void, ExportError> writeCsv(const ExportInput& input, const ExportOutput& output);

/// One JSON object, indented by two blanks, keys sorted.
[[nodiscard]] Result<void, ExportError> writeJson(const ExportInput& input, const ExportOutput& output);

}  // namespace tolvik
