#pragma once

#include <QObject>
#include <QStringList>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <optional>
#include <string>

#include "app/models/calendar_model.h"
#include "app/models/day_ribbon_model.h"
#include "app/models/day_strip_model.h"
#include "app/models/project_list_model.h"
#include "app/models/switch_log_model.h"
#include "app/models/task_rows_model.h"
#include "base/clock.h"
#include "core/app_store.h"
#include "voice/parse/command.h"

namespace tolvik {

/// What the home page lends from the rest of the application. Everything outlives the model.
struct HomePorts {
    AppStore& store;
    const Clock& clock;
    const TimeZone& zone;
    /// Carries a sentence out as if it had been spoken. May be empty.
    std::function<void(const std::string& sentence, std::function<void(const CommandOutcome&)> done)> execute;
    /// The project that new tasks get. Both may be empty.
    std::function<std::optional<Identifier>()> activeProject;
    std::function<void(std::optional<Identifier>)> setActiveProject;
};

/// The home page: what runs, the shown day, and what can be done with it. Main thread only.
class HomeModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Whether anybody looks. While false nothing is counted and no timer runs.
    Q_PROPERTY(bool live READ live WRITE setLive NOTIFY liveChanged)

    Q_PROPERTY(bool running READ running NOTIFY changed)
    Q_PROPERTY(QString runningId READ runningId NOTIFY changed)
    /// The running task's title, or "Nothing running".
    Q_PROPERTY(QString runningTitle READ runningTitle NOTIFY changed)
    Q_PROPERTY(int runningColor READ runningColor NOTIFY changed)
    Q_PROPERTY(QString runningProject READ runningProject NOTIFY changed)
    /// Negative without a project.
    Q_PROPERTY(int runningProjectColor READ runningProjectColor NOTIFY changed)
    /// "since 14:06".
    Q_PROPERTY(QString sinceText READ sinceText NOTIFY changed)
    /// "48:08".
    Q_PROPERTY(QString clockText READ clockText NOTIFY ticked)
    /// "3h 11m today"; empty when that is the clock's time again.
    Q_PROPERTY(QString todayText READ todayText NOTIFY ticked)
    /// "Last: Stand-up, Wednesday until 10:16"; empty when there is none or something runs.
    Q_PROPERTY(QString lastText READ lastText NOTIFY changed)
    /// The task that Resume goes back to; empty when there is none.
    Q_PROPERTY(QString resumeTitle READ resumeTitle NOTIFY changed)

    /// The shown day, as a day number.
    Q_PROPERTY(int shownDay READ shownDay NOTIFY changed)
    Q_PROPERTY(QString dayTitle READ dayTitle NOTIFY changed)
    Q_PROPERTY(QString dateText READ dateText NOTIFY changed)
    /// "5h 10m".
    Q_PROPERTY(QString trackedText READ trackedText NOTIFY ticked)
    /// "Day started 08:52"; empty on a day without entries.
    Q_PROPERTY(QString startedText READ startedText NOTIFY changed)
    /// "Day ended 17:40"; empty unless an entry of the day is closed.
    Q_PROPERTY(QString endedText READ endedText NOTIFY changed)
    Q_PROPERTY(bool viewingToday READ viewingToday NOTIFY changed)
    /// No task is listed and no filter hides one.
    Q_PROPERTY(bool empty READ empty NOTIFY changed)

    Q_PROPERTY(QString filterText READ filterText NOTIFY changed)
    /// "all", "unassigned" or a project's id.
    Q_PROPERTY(QString filterId READ filterId NOTIFY changed)
    Q_PROPERTY(QString inputProject READ inputProject NOTIFY changed)
    Q_PROPERTY(QString inputProjectId READ inputProjectId NOTIFY changed)
    Q_PROPERTY(int inputProjectColor READ inputProjectColor NOTIFY changed)

    /// Why changes are not on the disk yet; empty when all is well.
    Q_PROPERTY(QString problemText READ problemText NOTIFY changed)
    /// Something to tell once; empty when there is nothing. `dismissNotice` shows the next.
    Q_PROPERTY(QString noticeText READ noticeText NOTIFY noticeChanged)
    /// A short answer to what was just done here; empty when there is none.
    Q_PROPERTY(QString toastText READ toastText NOTIFY toastChanged)
    Q_PROPERTY(bool toastOffersUndo READ toastOffersUndo NOTIFY toastChanged)

    Q_PROPERTY(tolvik::TaskRowsModel* rows READ rows CONSTANT)
    Q_PROPERTY(tolvik::DayRibbonModel* ribbon READ ribbon CONSTANT)
    Q_PROPERTY(tolvik::DayStripModel* strip READ strip CONSTANT)
    Q_PROPERTY(tolvik::CalendarModel* calendar READ calendar CONSTANT)
    Q_PROPERTY(tolvik::SwitchLogModel* switches READ switches CONSTANT)
    Q_PROPERTY(tolvik::ProjectListModel* projects READ projects CONSTANT)
public:
    explicit HomeModel(HomePorts ports, QObject* parent = nullptr);

    [[nodiscard]] bool live() const { return live_; }
    void setLive(bool live);

    [[nodiscard]] bool running() const;
    [[nodiscard]] QString runningId() const;
    [[nodiscard]] QString runningTitle() const;
    [[nodiscard]] int runningColor() const;
    [[nodiscard]] QString runningProject() const;
    [[nodiscard]] int runningProjectColor() const;
    [[nodiscard]] QString sinceText() const;
    [[nodiscard]] QString clockText() const { return clockText_; }
    [[nodiscard]] QString todayText() const { return todayText_; }
    [[nodiscard]] QString lastText() const { return lastText_; }
    [[nodiscard]] QString resumeTitle() const;
    [[nodiscard]] int shownDay() const { return ports_.store.currentDate().days; }
    [[nodiscard]] QString dayTitle() const;
    [[nodiscard]] QString dateText() const;
    [[nodiscard]] QString trackedText() const { return trackedText_; }
    [[nodiscard]] QString startedText() const;
    [[nodiscard]] QString endedText() const;
    [[nodiscard]] bool viewingToday() const;
    [[nodiscard]] bool empty() const;
    [[nodiscard]] QString filterText() const;
    [[nodiscard]] QString filterId() const;
    [[nodiscard]] QString inputProject() const;
    [[nodiscard]] QString inputProjectId() const;
    [[nodiscard]] int inputProjectColor() const;
    [[nodiscard]] QString problemText() const;
    [[nodiscard]] QString noticeText() const { return notices_.isEmpty() ? QString() : notices_.first(); }
    [[nodiscard]] QString toastText() const { return toastText_; }
    [[nodiscard]] bool toastOffersUndo() const { return toastOffersUndo_; }
    [[nodiscard]] TaskRowsModel* rows() { return &rows_; }
    [[nodiscard]] DayRibbonModel* ribbon() { return &ribbon_; }
    [[nodiscard]] DayStripModel* strip() { return &strip_; }
    [[nodiscard]] CalendarModel* calendar() { return &calendar_; }
    [[nodiscard]] SwitchLogModel* switches() { return &switches_; }
    [[nodiscard]] ProjectListModel* projects() { return &projects_; }

    /// Starts a task of that title, or carries out what follows a leading "/". False when there was nothing in it, so
    /// that the field keeps its text.
    Q_INVOKABLE bool submit(const QString& line);
    Q_INVOKABLE void stop();
    Q_INVOKABLE void markRunningDone();
    Q_INVOKABLE void resume();
    Q_INVOKABLE void switchTo(const QString& taskId);
    Q_INVOKABLE void markDone(const QString& taskId);
    Q_INVOKABLE void rename(const QString& taskId, const QString& title);
    /// An empty project removes it.
    Q_INVOKABLE void setProject(const QString& taskId, const QString& projectId);
    /// Makes a project and gives it to the task.
    Q_INVOKABLE void setNewProject(const QString& taskId, const QString& name);
    Q_INVOKABLE void remove(const QString& taskId);
    Q_INVOKABLE void setReason(const QString& logId, const QString& reason);
    Q_INVOKABLE void undo();
    Q_INVOKABLE void dismissToast();
    Q_INVOKABLE void dismissNotice();
    Q_INVOKABLE void chooseInputProject(const QString& projectId);
    Q_INVOKABLE void chooseFilter(const QString& filterId);
    Q_INVOKABLE void shiftDay(int days);
    Q_INVOKABLE void selectDay(int day);
    Q_INVOKABLE void goToToday();
    /// The project of new tasks was chosen elsewhere.
    void projectChosen() { Q_EMIT changed(); }
    /// The question before a deletion.
    Q_INVOKABLE [[nodiscard]] QString deleteQuestion(const QString& title) const;

signals:
    void liveChanged();
    void changed();
    void ticked();
    void noticeChanged();
    void toastChanged();

private:
    void update();
    void tick();
    void updateRibbon();
    void updateLast();
    void say(const QString& text, bool offersUndo);
    /// Shows what the store says of its last operation, with Undo.
    void offerUndo(Outcome outcome);

    HomePorts ports_;
    TaskRowsModel rows_;
    DayRibbonModel ribbon_;
    DayStripModel strip_;
    CalendarModel calendar_;
    SwitchLogModel switches_;
    ProjectListModel projects_;
    bool live_ = false;
    QString clockText_;
    QString todayText_;
    QString trackedText_;
    QString lastText_;
    QStringList notices_;
    QString toastText_;
    bool toastOffersUndo_ = false;
    /// The change that the toast offers to take back.
    std::optional<std::string> offered_;
    std::int64_t shownMinute_ = -1;
    /// Moves the line of the present while nothing runs.
    QTimer minute_;
    Subscription changedSubscription_;
    Subscription tickSubscription_;
    Subscription noticeSubscription_;
};

}  // namespace tolvik
