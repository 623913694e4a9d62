#pragma once

#include <QObject>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>

#include "base/main_loop.h"
#include "core/app_store.h"
#include "reports/pdf_writer.h"
#include "reports/report_data.h"

namespace tolvik {

/// Writes the entries of a report to a file on a worker. One export at a time. Main thread only.
class ReportExporter : public QObject {
    Q_OBJECT
public:
    struct Ports {
        const AppStore& store;
        const Clock& clock;
        const TimeZone& zone;
        Workers& workers;
        MainLoop& loop;
        /// Null where pages cannot be drawn.
        PdfWriter* pdf = nullptr;
    };
    ReportExporter(Ports ports, QObject* parent);
    /// Cancels what is being written; the worker ends by itself.
    ~ReportExporter() override;

    enum class Format : std::uint8_t { csv, json, pdf };
    /// The file appears whole or not at all. `days` is what the file says it covers.
    void start(Format format, const QString& path, const std::shared_ptr<const ReportData>& report, DaySpan days);
    void cancel();

    [[nodiscard]] bool isBusy() const { return job_ != nullptr; }
    /// From 0 to 100.
    [[nodiscard]] int percent() const { return percent_; }

signals:
    void changed();
    /// An empty `problem` stands for success; a cancelled export emits neither text.
    void finished(const QString& path, const QString& problem, bool cancelled);

private:
    struct Job;
    void done(const std::shared_ptr<Job>& job);

    Ports ports_;
    std::shared_ptr<Job> job_;
    int percent_ = 0;
};

}  // namespace tolvik
