#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <functional>

#include "app/models/calendar_model.h"
#include "app/models/report_exporter.h"
#include "app/models/report_lists.h"
#include "app/models/toast_model.h"
#include "reports/report_book.h"

namespace tolvik {

/// What the reports page lends from the rest of the application. Everything outlives the model.
struct ReportsPorts {
    AppStore& store;
    const Clock& clock;
    const TimeZone& zone;
    Workers& workers;
    MainLoop& loop;
    ToastModel& toast;
    /// Null where pages cannot be drawn.
    PdfWriter* pdf = nullptr;
    /// Asks the user where to save; `done` is called with the file's path, or never. Empty where nobody can be asked.
    std::function<void(const QString& suggested, const QString& filter, std::function<void(QString)> done)> chooseFile;
    /// Words about a range; none when there are none. May be empty.
    std::function<void(DaySpan days, std::function<void(std::optional<std::string>)> done)> narrative;
    /// Whether those come from the server, which is asked once for a range; else they follow the log. Empty stands for
    /// signed out.
    std::function<bool()> isSignedIn;
};

/// The reports page: where the time of a range went. Main thread only.
class ReportsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Whether anybody looks. While false nothing is counted and no timer runs.
    Q_PROPERTY(bool live READ live WRITE setLive NOTIFY liveChanged)
    /// "month", "quarter", "half", "year" or "custom".
    Q_PROPERTY(QString range READ range WRITE setRange NOTIFY changed)
    /// The days of the custom range, as "2026-11-19".
    Q_PROPERTY(QString firstDay READ firstDay NOTIFY changed)
    Q_PROPERTY(QString lastDay READ lastDay NOTIFY changed)
    /// The same as day numbers, and the present day's.
    Q_PROPERTY(int firstNumber READ firstNumber NOTIFY changed)
    Q_PROPERTY(int lastNumber READ lastNumber NOTIFY changed)
    Q_PROPERTY(int today READ today NOTIFY changed)
    Q_PROPERTY(tolvik::CalendarModel* calendar READ calendar CONSTANT)
    /// "all", "unassigned" or a project's id.
    Q_PROPERTY(QString filterId READ filterId WRITE setFilterId NOTIFY changed)
    Q_PROPERTY(QString filterText READ filterText NOTIFY changed)
    Q_PROPERTY(bool empty READ empty NOTIFY changed)
    Q_PROPERTY(QString totalText READ totalText NOTIFY changed)
    Q_PROPERTY(QString totalSpoken READ totalSpoken NOTIFY changed)
    /// "24 August – 19 November 2026".
    Q_PROPERTY(QString spanText READ spanText NOTIFY changed)
    /// "Full weeks average" and "31h 55m"; empty when there is none.
    Q_PROPERTY(QString averageLabel READ averageLabel NOTIFY changed)
    Q_PROPERTY(QString averageText READ averageText NOTIFY changed)
    Q_PROPERTY(QString chartTitle READ chartTitle NOTIFY changed)
    /// Lines across the chart: objects with `text` and `fraction` of the highest bar.
    Q_PROPERTY(QVariantList ticks READ ticks NOTIFY changed)
    Q_PROPERTY(QString capMessage READ capMessage NOTIFY changed)
    Q_PROPERTY(tolvik::ReportBarModel* bars READ bars CONSTANT)
    Q_PROPERTY(tolvik::ReportShareModel* projects READ projects CONSTANT)
    Q_PROPERTY(tolvik::ReportShareModel* tasks READ tasks CONSTANT)
    /// The words about the range; empty while there are none.
    Q_PROPERTY(QString narrativeText READ narrativeText NOTIFY narrativeChanged)
    Q_PROPERTY(bool exporting READ exporting NOTIFY exportChanged)
    Q_PROPERTY(int exportPercent READ exportPercent NOTIFY exportChanged)
    Q_PROPERTY(bool canExport READ canExport CONSTANT)
public:
    explicit ReportsModel(ReportsPorts ports, QObject* parent = nullptr);

    [[nodiscard]] bool live() const { return live_; }
    void setLive(bool live);
    [[nodiscard]] QString range() const;
    void setRange(const QString& name);
    [[nodiscard]] QString firstDay() const;
    [[nodiscard]] QString lastDay() const;
    [[nodiscard]] int firstNumber() const { return days().first.days; }
    [[nodiscard]] int lastNumber() const { return days().last.days; }
    [[nodiscard]] int today() const { return ports_.store.today().days; }
    [[nodiscard]] CalendarModel* calendar() { return &calendar_; }
    [[nodiscard]] QString filterId() const;
    void setFilterId(const QString& id);
    [[nodiscard]] QString filterText() const;
    [[nodiscard]] bool empty() const { return !report_ || report_->entries.empty(); }
    [[nodiscard]] QString totalText() const;
    [[nodiscard]] QString totalSpoken() const;
    [[nodiscard]] QString spanText() const;
    [[nodiscard]] QString averageLabel() const;
    [[nodiscard]] QString averageText() const;
    [[nodiscard]] QString chartTitle() const;
    [[nodiscard]] QVariantList ticks() const;
    [[nodiscard]] QString capMessage() const;
    [[nodiscard]] ReportBarModel* bars() { return &bars_; }
    [[nodiscard]] ReportShareModel* projects() { return &projects_; }
    [[nodiscard]] ReportShareModel* tasks() { return &tasks_; }
    [[nodiscard]] QString narrativeText() const { return narrative_; }
    [[nodiscard]] bool exporting() const { return exporter_.isBusy(); }
    [[nodiscard]] int exportPercent() const { return exporter_.percent(); }
    [[nodiscard]] bool canExport() const { return ports_.chooseFile != nullptr; }
    /// How often a report was computed.
    [[nodiscard]] std::uint64_t computed() const { return book_.computed(); }

    /// Chooses a custom range by its days ("2026-11-19"). False when one is no day or the last is before the first.
    Q_INVOKABLE bool setDays(const QString& first, const QString& last);
    /// Chooses the first or the last day of the custom range; the other one gives way.
    Q_INVOKABLE void pickFirst(int day);
    Q_INVOKABLE void pickLast(int day);
    /// Shows a bar's first day, or the last day of the range on which a task ran, on the home page.
    Q_INVOKABLE void showDay(int day);
    Q_INVOKABLE void showTask(const QString& taskId);
    /// Asks for a file and writes to it: "csv", "json" or "pdf".
    Q_INVOKABLE void exportAs(const QString& format);
    Q_INVOKABLE void cancelExport() { exporter_.cancel(); }
    /// Somebody signed in or out: the words about the range come from elsewhere now.
    void accountChanged();

signals:
    void liveChanged();
    void changed();
    void narrativeChanged();
    void exportChanged();
    /// The home page shows what was asked for.
    void homeWanted();

private:
    void update();
    void updateBars();
    void updateShares();
    /// `isNew`: the figures are others than before.
    void updateNarrative(bool isNew);
    [[nodiscard]] DaySpan days() const;
    [[nodiscard]] std::int64_t highest() const;
    [[nodiscard]] std::int64_t axisStep() const;
    [[nodiscard]] bool isDaily() const;

    ReportsPorts ports_;
    ReportBook book_;
    ReportExporter exporter_;
    std::shared_ptr<const ReportData> report_;
    ReportRange range_ = ReportRange::month;
    DaySpan custom_;
    ProjectFilter filter_;
    ReportBarModel bars_;
    ReportShareModel projects_;
    ReportShareModel tasks_;
    CalendarModel calendar_;
    QString narrative_;
    struct Told {
        DaySpan days;
        bool byServer = false;
        bool operator==(const Told&) const = default;
    };
    /// What the words are about, or will be.
    std::optional<Told> told_;
    bool live_ = false;
    QTimer minute_;
    Subscription storeSubscription_;
};

}  // namespace tolvik
