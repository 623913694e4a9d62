#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include "app/models/project_lists.h"
#include "app/models/project_times.h"
#include "app/models/toast_model.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

/// What the projects page lends from the rest of the application. Everything outlives the model.
struct ProjectsPorts {
    AppStore& store;
    const Clock& clock;
    const TimeZone& zone;
    /// Knows the current project and the projects' terms.
    DictionaryManager& dictionary;
    ToastModel& toast;
};

/// The projects page: where the last weeks went, and one project with what can be changed. Main thread only.
class ProjectsModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Whether anybody looks. While false nothing is counted and no timer runs.
    Q_PROPERTY(bool live READ live WRITE setLive NOTIFY liveChanged)
    Q_PROPERTY(tolvik::ProjectPageModel* rows READ rows CONSTANT)
    Q_PROPERTY(tolvik::ProjectTaskModel* tasks READ tasks CONSTANT)
    Q_PROPERTY(bool empty READ empty NOTIFY changed)
    /// "41h 50m on tasks with no project"; empty when there is none.
    Q_PROPERTY(QString untaggedText READ untaggedText NOTIFY changed)
    /// The project of the pane; empty when there is none.
    Q_PROPERTY(QString chosenId READ chosenId WRITE choose NOTIFY changed)
    Q_PROPERTY(QString chosenName READ chosenName NOTIFY changed)
    Q_PROPERTY(int chosenColor READ chosenColor NOTIFY changed)
    Q_PROPERTY(bool chosenIsCurrent READ chosenIsCurrent NOTIFY changed)
    Q_PROPERTY(int openTasks READ openTasks NOTIFY changed)
    /// "9 terms".
    Q_PROPERTY(QString termsText READ termsText NOTIFY changed)
public:
    explicit ProjectsModel(ProjectsPorts ports, QObject* parent = nullptr);

    [[nodiscard]] bool live() const { return live_; }
    void setLive(bool live);
    [[nodiscard]] ProjectPageModel* rows() { return &rows_; }
    [[nodiscard]] ProjectTaskModel* tasks() { return &tasks_; }
    [[nodiscard]] bool empty() const { return ports_.store.tags().empty(); }
    [[nodiscard]] QString untaggedText() const { return untaggedText_; }
    [[nodiscard]] QString chosenId() const;
    void choose(const QString& id);
    [[nodiscard]] QString chosenName() const;
    [[nodiscard]] int chosenColor() const;
    [[nodiscard]] bool chosenIsCurrent() const;
    [[nodiscard]] int openTasks() const { return tasks_.rowCount(); }
    [[nodiscard]] QString termsText() const;

    /// Makes a project and shows it in the pane. False when the name is empty or taken, which is then told.
    Q_INVOKABLE bool create(const QString& name);
    /// Renames the pane's project. False when the name is empty or another's, which is then told.
    Q_INVOKABLE bool rename(const QString& name);
    Q_INVOKABLE void setCurrent(bool current);
    Q_INVOKABLE [[nodiscard]] QString deleteQuestion() const;
    /// Deletes the pane's project; its tasks stay, without a project.
    Q_INVOKABLE void remove();

signals:
    void liveChanged();
    void changed();

private:
    void update();
    [[nodiscard]] const TagModel* chosen() const;
    [[nodiscard]] ProjectPageRow rowOf(const TagModel& tag, std::int64_t longestWeek) const;
    /// True when another project than `self` has the name, which is then told.
    [[nodiscard]] bool isTaken(const QString& name, const std::optional<Identifier>& self);
    /// Tells what was done, with Undo for as long as it is the last thing that was.
    void offerUndo(const std::function<void()>& also = {});

    ProjectsPorts ports_;
    ProjectPageModel rows_;
    ProjectTaskModel tasks_;
    ProjectTimes times_;
    std::optional<Identifier> chosen_;
    QString untaggedText_;
    bool live_ = false;
    QTimer minute_;
    Subscription storeSubscription_;
    Subscription dictionarySubscription_;
};

}  // namespace tolvik
