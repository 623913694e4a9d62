#include "services/lazy_pdf_writer.h"

#include <dlfcn.h>
#include <spdlog/spdlog.h>
#include <system_error>
#include <utility>

namespace tolvik {

LazyPdfWriter::LazyPdfWriter(std::filesystem::path module) : module_(std::move(module)) {}

LazyPdfWriter::~LazyPdfWriter() = default;

bool LazyPdfWriter::isPresent() const {
    std::error_code error;
    return std::filesystem::exists(module_, error);
}

Result<void, ExportError> LazyPdfWriter::write(const PdfReport& report, const ExportOutput& output) {
    const std::scoped_lock lock(mutex_);
    if (!std::exchange(tried_, true)) {
        // Never closed: the text libraries register types that cannot be taken back.
        void* module = ::dlopen(module_.c_str(), RTLD_NOW | RTLD_LOCAL);
        void* factory = module == nullptr ? nullptr : ::dlsym(module, kPdfFactoryName);
        if (factory != nullptr) {
            writer_.reset(reinterpret_cast<PdfFactory*>(factory)());
        } else if (const char* why = ::dlerror(); why != nullptr) {
            spdlog::error("reports cannot be drawn: {}", why);
        }
    }
    return writer_ ? writer_->write(report, output) : failure(ExportError::drawing);
}

}  // namespace tolvik
