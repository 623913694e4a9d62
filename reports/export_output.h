#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// Why an export was not finished.
enum class ExportError : std::uint8_t {
    cancelled,  ///< whoever watches the progress asked for it
    output,     ///< the output did not take everything; it knows why
    drawing,    ///< the page could not be drawn
};

/// Where an export goes, on the writer's thread.
struct ExportOutput {
    /// Takes bytes; false when it cannot.
    std::function<bool(std::string_view bytes)> write;
    /// Hears now and then how many of all rows are done; false cancels. May be empty.
    std::function<bool(std::size_t done, std::size_t rows)> progress = {};
};

/// Collects text and hands it on in stretches of 64 KiB, so that no export stands in memory whole.
class ExportStream {
public:
    ExportStream(const ExportOutput& output, std::size_t rows) : output_(output), rows_(rows) {}

    /// Append here.
    [[nodiscard]] std::string& text() { return buffer_; }
    /// A row is complete; false when the export ends here.
    [[nodiscard]] bool rowDone() {
        ++done_;
        return buffer_.size() < kStretch || flush();
    }
    [[nodiscard]] Result<void, ExportError> finish() {
        flush();
        if (isCancelled_) {
            return failure(ExportError::cancelled);
        }
        if (hasFailed_) {
            return failure(ExportError::output);
        }
        return {};
    }

private:
    static constexpr std::size_t kStretch = std::size_t{64} << 10U;

    bool flush() {
        if (hasFailed_ || isCancelled_) {
            return false;
        }
        hasFailed_ = !buffer_.empty() && !output_.write(buffer_);
        isCancelled_ = output_.progress && !output_.progress(done_, rows_);
        buffer_.clear();
        return !hasFailed_ && !isCancelled_;
    }

    const ExportOutput& output_;
    std::size_t rows_;
    std::size_t done_ = 0;
    bool hasFailed_ = false;
    bool isCancelled_ = false;
    std::string buffer_;
};

}  // namespace tolvik
