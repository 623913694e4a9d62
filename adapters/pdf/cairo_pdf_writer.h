#pragma once

#include "reports/pdf_writer.h"

namespace tolvik {

/// Draws reports with Cairo and sets their text with Pango: the fonts are embedded, each script takes the font that the
/// system has for it. A row stands on one page whole.
class CairoPdfWriter final : public PdfWriter {
public:
    [[nodiscard]] Result<void, ExportError> write(const PdfReport& report, const ExportOutput& output) override;
};

}  // namespace tolvik
