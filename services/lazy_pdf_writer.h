#pragma once

#include <filesystem>
#include <memory>
#include <mutex>

#include "reports/pdf_writer.h"

namespace tolvik {

/// The drawing of reports in a module of its own, loaded with the first one: few commands draw, and its libraries take
/// longer to load than others run. Any thread, one report at a time.
class LazyPdfWriter final : public PdfWriter {
public:
    explicit LazyPdfWriter(std::filesystem::path module);
    ~LazyPdfWriter() override;

    /// `ExportError::drawing` when there is no module.
    [[nodiscard]] Result<void, ExportError> write(const PdfReport& report, const ExportOutput& output) override;
    /// True when the module is there; does not load it.
    [[nodiscard]] bool isPresent() const;

private:
    std::filesystem::path module_;
    std::mutex mutex_;
    bool tried_ = false;
    std::unique_ptr<PdfWriter> writer_;
};

/// The function that the module exports under the name `kPdfFactoryName`: a new writer, or null. The caller owns it.
using PdfFactory = PdfWriter*();
constexpr const char* kPdfFactoryName = "tolvikMakePdfWriter";

}  // namespace tolvik
