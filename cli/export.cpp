#include <array>
#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <optional>
#include <unistd.h>
#include <unordered_map>

#include "adapters/system/atomic_file.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_time_zone.h"
#include "base/text.h"
#include "cli/commands_here.h"
#include "cli/files.h"
#include "cli/log_part.h"
#include "commands/report_command.h"
#include "reports/export_text.h"
#include "reports/pdf_report.h"
#include "services/lazy_pdf_writer.h"

namespace tolvik {
namespace {

constexpr std::array<const char*, 3> kFormats{"csv", "json", "pdf"};

volatile std::sig_atomic_t isInterrupted = 0;

void interrupt(int) {
    isInterrupted = 1;
}

/// The share that is written, on the terminal and only when it takes long enough to be read.
class ProgressLine {
public:
    ProgressLine() : isShown_(::isatty(STDERR_FILENO) == 1) {}
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;
    ~ProgressLine() {
        if (last_ >= 0) {
            (void)writeOut(STDERR_FILENO, "\r\x1B[K");
        }
    }

    void show(std::size_t done, std::size_t rows) {
        const int percent = rows == 0 ? 100 : static_cast<int>(100 * done / rows);
        if (isShown_ && percent != last_) {
            last_ = percent;
            (void)writeOut(STDERR_FILENO, fmt::format("\rExporting {} %", percent));
        }
    }

private:
    bool isShown_;
    int last_ = -1;
};

Result<void, ExportError> writeAs(std::string_view format, const Paths& paths, const ExportInput& input,
                                  const ExportOutput& output) {
    if (format == "csv") {
        return writeCsv(input, output);
    }
    if (format == "json") {
        return writeJson(input, output);
    }
    return LazyPdfWriter(paths.pdfModule()).write(makePdfReport(input), output);
}

/// The error is for the user.
Result<void, CommandResponse> writeTo(const std::string& path, std::string_view format, const Paths& paths,
                                      const ExportInput& input) {
    std::optional<AtomicFile> file;
    if (path != "-") {
        auto opened = AtomicFile::open(path);
        if (!opened) {
            return failure(CommandResponse{ExitCode::environment, {}, opened.error() + "\n"});
        }
        file.emplace(std::move(*opened));
    }
    ProgressLine line;
    const ExportOutput output{
        [&](std::string_view bytes) { return file ? file->write(bytes) : writeOut(STDOUT_FILENO, bytes); },
        [&](std::size_t done, std::size_t rows) {
            line.show(done, rows);
            return isInterrupted == 0;
        }};
    const auto written = writeAs(format, paths, input, output);
    if (!written && written.error() == ExportError::cancelled) {
        return failure(CommandResponse{ExitCode::nothing, {}, "Cancelled. " + path + " is as it was.\n"});
    }
    if (!written && written.error() == ExportError::drawing) {
        return failure(CommandResponse{
            ExitCode::environment,
            {},
            fmt::format("The report cannot be drawn: {} is missing or its libraries (Cairo, Pango) are.\n",
                        paths.pdfModule().string())});
    }
    if (file) {
        if (const auto placed = file->commit(); !placed) {
            return failure(CommandResponse{ExitCode::environment, {}, placed.error() + "\n"});
        }
    } else if (!written) {
        return failure(CommandResponse{ExitCode::environment, {}, "Cannot write the output.\n"});
    }
    return {};
}

template <class Record>
std::unordered_map<Identifier, const Record*> byId(const std::vector<Record>& records) {
    std::unordered_map<Identifier, const Record*> out;
    out.reserve(records.size());
    for (const Record& record : records) {
        out.emplace(record.id, &record);
    }
    return out;
}

template <class Record>
const Record* found(const std::unordered_map<Identifier, const Record*>& records, const Identifier& id) {
    const auto place = records.find(id);
    return place == records.end() ? nullptr : place->second;
}

}  // namespace

ExitCode runExport(const Paths& paths, const CommandRequest& request) {
    const auto refuse = [](ExitCode exit, const std::string& why) { return print({exit, {}, why + "\n"}); };
    std::vector<std::pair<std::string, std::string>> files;
    int outputs = 0;
    for (const char* format : kFormats) {
        if (const auto file = request.option(format)) {
            if (file->empty()) {
                return refuse(ExitCode::usage, fmt::format("--{} needs FILE.", format));
            }
            files.emplace_back(format, *file);
            outputs += *file == "-" ? 1 : 0;
        }
    }
    if (files.empty()) {
        return refuse(ExitCode::usage, "Which file? Give --csv FILE, --json FILE or --pdf FILE.");
    }
    if (outputs > 1) {
        return refuse(ExitCode::usage, "Only one export can go to the output.");
    }
    const SystemClock clock;
    const SystemTimeZone zone;
    const Instant now = clock.now();
    const auto query = reportQueryOf(request, zone.dayOf(now));
    if (!query) {
        return refuse(ExitCode::usage, query.error());
    }
    const DaySpan days = exportedPart(query->days);
    const auto part = fetchLogPart(paths, days, request);
    if (!part) {
        return print(part.error());
    }
    const auto tasks = byId(part->tasks);
    const auto tags = byId(part->tags);
    const RecordLookup records{[&](const Identifier& id) { return found(tasks, id); },
                               [&](const Identifier& id) { return found(tags, id); }};
    // From here on an interruption ends the writing, which cleans up after itself.
    std::signal(SIGINT, interrupt);
    std::signal(SIGTERM, interrupt);
    CommandResponse told;
    if (days != query->days) {
        told.error = fmt::format("{}: {} to {}.\n", kExportCapMessage, days.first.text(), days.last.text());
    }
    for (const auto& [format, file] : files) {
        const ExportInput input{part->timeEntries, records, days, now, zone};
        if (const auto written = writeTo(file, format, paths, input); !written) {
            return print(written.error());
        }
        if (file != "-") {
            const auto count = part->timeEntries.size();
            told.out += fmt::format("Exported {} {} to {}.\n", count, count == 1 ? "entry" : "entries", file);
        }
    }
    if (outputs > 0) {
        // What was told does not belong into the export.
        told.error += std::exchange(told.out, {});
    }
    return print(told);
}

}  // namespace tolvik
