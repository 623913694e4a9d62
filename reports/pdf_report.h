#pragma once

#include "reports/export_rows.h"
#include "reports/pdf_writer.h"

namespace tolvik {

/// A report's texts. What `rowAt` gives is good for as long as the input is.
[[nodiscard]] PdfReport makePdfReport(const ExportInput& input);

}  // namespace tolvik
