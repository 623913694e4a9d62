#include "app/models/report_exporter.h"

#include <QPointer>
#include <QSaveFile>
#include <optional>
#include <unordered_map>
#include <utility>

#include "reports/export_text.h"
#include "reports/pdf_report.h"

namespace tolvik {

/// Everything that the worker reads is the job's own.
struct ReportExporter::Job {
    Format format = Format::csv;
    QString path;
    std::vector<TimeEntry> entries;
    std::unordered_map<std::string, TaskModel> tasks;
    std::unordered_map<std::string, TagModel> tags;
    DaySpan days;
    Instant now;
    const TimeZone* zone = nullptr;
    PdfWriter* pdf = nullptr;
    std::atomic<bool> cancelled = false;
    QString problem;

    void write(const std::function<void(int percent)>& tell);
};

void ReportExporter::Job::write(const std::function<void(int percent)>& tell) {
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        problem = file.errorString();
        return;
    }
    const auto find = [](const auto& map, const Identifier& id) {
        const auto found = map.find(id.text());
        return found == map.end() ? nullptr : &found->second;
    };
    const ExportInput input{.entries = entries,
                            .records = {.task = [&](const Identifier& id) { return find(tasks, id); },
                                        .tag = [&](const Identifier& id) { return find(tags, id); }},
                            .days = days,
                            .now = now,
                            .zone = *zone};
    int told = -1;
    const ExportOutput output{.write =
                                  [&](std::string_view bytes) {
                                      return file.write(bytes.data(), static_cast<qint64>(bytes.size())) ==
                                             static_cast<qint64>(bytes.size());
                                  },
                              .progress =
                                  [&](std::size_t done, std::size_t rows) {
                                      const int percent = rows == 0 ? 100 : static_cast<int>(100 * done / rows);
                                      if (percent != std::exchange(told, percent)) {
                                          tell(percent);
                                      }
                                      return !cancelled.load();
                                  }};
    Result<void, ExportError> written;
    switch (format) {
        case Format::csv:
            written = writeCsv(input, output);
            break;
        case Format::json:
            written = writeJson(input, output);
            break;
        case Format::pdf:
            written = pdf != nullptr ? pdf->write(makePdfReport(input), output)
                                     : Result<void, ExportError>(failure(ExportError::drawing));
            break;
    }
    if (!written) {
        file.cancelWriting();
        problem = written.error() == ExportError::drawing ? QStringLiteral("The pages could not be drawn.")
                                                          : file.errorString();
        cancelled = cancelled || written.error() == ExportError::cancelled;
    } else if (!file.commit()) {
        problem = file.errorString();
    }
}

ReportExporter::ReportExporter(Ports ports, QObject* parent) : QObject(parent), ports_(ports) {}

ReportExporter::~ReportExporter() {
    cancel();
}

void ReportExporter::start(Format format, const QString& path, const std::shared_ptr<const ReportData>& report,
                           DaySpan days) {
    if (job_) {
        return;
    }
    job_ = std::make_shared<Job>();
    job_->format = format;
    job_->path = path;
    for (const TimeEntry& entry : report->entries) {
        const auto day = startDay(entry, ports_.zone);
        if (!day || (*day >= days.first && *day <= days.last)) {
            job_->entries.push_back(entry);
        }
    }
    for (const TaskModel& task : ports_.store.tasks()) {
        job_->tasks.emplace(task.id.text(), task);
    }
    for (const TagModel& tag : ports_.store.tags()) {
        job_->tags.emplace(tag.id.text(), tag);
    }
    job_->days = days;
    job_->now = ports_.clock.now();
    job_->zone = &ports_.zone;
    job_->pdf = ports_.pdf;
    percent_ = 0;
    Q_EMIT changed();
    ports_.workers.run([job = job_, &loop = ports_.loop, exporter = QPointer(this)] {
        job->write([&](int percent) {
            loop.post([exporter, job, percent] {
                if (exporter && exporter->job_ == job) {
                    exporter->percent_ = percent;
                    Q_EMIT exporter->changed();
                }
            });
        });
        loop.post([exporter, job] {
            if (exporter) {
                exporter->done(job);
            }
        });
    });
}

void ReportExporter::done(const std::shared_ptr<Job>& job) {
    job_.reset();
    Q_EMIT changed();
    Q_EMIT finished(job->path, job->problem, job->cancelled);
}

void ReportExporter::cancel() {
    if (job_) {
        job_->cancelled = true;
    }
}

}  // namespace tolvik
