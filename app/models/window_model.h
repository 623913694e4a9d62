#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>
#include <memory>

#include "app/models/account_model.h"
#include "app/models/assistant_model.h"
#include "app/models/data_model.h"
#include "app/models/dictionary_model.h"
#include "app/models/home_model.h"
#include "app/models/looks_model.h"
#include "app/models/onboarding_model.h"
#include "app/models/pill_model.h"
#include "app/models/privacy_model.h"
#include "app/models/projects_model.h"
#include "app/models/reports_model.h"
#include "app/models/settings_model.h"
#include "app/models/summary_model.h"
#include "app/models/toast_model.h"

namespace tolvik {

/// What the pages besides Home and Settings lend from the rest of the application; null for a page that is not there.
/// Everything outlives the model.
struct PagePorts {
    DictionaryManager* dictionary = nullptr;
    AccountGateway* account = nullptr;
    /// Both are needed for reports.
    Workers* workers = nullptr;
    MainLoop* loop = nullptr;
    /// Null where pages cannot be drawn.
    PdfWriter* pdf = nullptr;
    /// Asks the user where to save a file, see `ReportsPorts`.
    std::function<void(const QString& suggested, const QString& filter, std::function<void(QString)> done)> chooseFile =
        {};
    /// Answers questions and finds words for days and ranges.
    Assistant* assistant = nullptr;
    /// Asks the user which file to open, see `DataPorts`; together with dictionary, workers and `chooseFile` all data
    /// can be taken along.
    std::function<void(const QString& filter, std::function<void(QString path)> done)> chooseExisting = {};
    /// The first-run steps; none where there are none.
    std::optional<OnboardingPorts> onboarding = {};
    Telemetry* telemetry = nullptr;
    /// What happened to the process before this one.
    std::optional<CrashReport> crash = {};
    /// Something worth counting was done: "data_export", or a page was opened ("page_open reports").
    std::function<void(const std::string& name)> happened = {};
};

/// Everything that the main window and the pill show. The composition makes one; it outlives both windows. Main thread
/// only.
class WindowModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made by the application")
    Q_PROPERTY(tolvik::HomeModel* home READ home CONSTANT)
    Q_PROPERTY(tolvik::SettingsModel* settings READ settings CONSTANT)
    Q_PROPERTY(tolvik::LooksModel* looks READ looks CONSTANT)
    Q_PROPERTY(tolvik::PillModel* pill READ pill CONSTANT)
    Q_PROPERTY(tolvik::AccountModel* account READ account CONSTANT)
    /// Null without the page.
    Q_PROPERTY(tolvik::ProjectsModel* projects READ projects CONSTANT)
    Q_PROPERTY(tolvik::DictionaryModel* dictionary READ dictionary CONSTANT)
    Q_PROPERTY(tolvik::ReportsModel* reports READ reports CONSTANT)
    /// Null where nobody answers.
    Q_PROPERTY(tolvik::AssistantModel* assistant READ assistant CONSTANT)
    Q_PROPERTY(tolvik::SummaryModel* summary READ summary CONSTANT)
    Q_PROPERTY(tolvik::OnboardingModel* onboarding READ onboarding CONSTANT)
    Q_PROPERTY(tolvik::PrivacyModel* privacy READ privacy CONSTANT)
    Q_PROPERTY(tolvik::DataModel* data READ data CONSTANT)
    /// What was done on a page other than Home.
    Q_PROPERTY(tolvik::ToastModel* toast READ toast CONSTANT)
public:
    /// `voice` in the settings' ports is also what the pill follows and the microphone button presses.
    WindowModel(HomePorts home, SettingsPorts settings, PagePorts pages, DesktopAppearance* desktop,
                QObject* parent = nullptr);

    [[nodiscard]] HomeModel* home() { return &home_; }
    [[nodiscard]] SettingsModel* settings() { return &settings_; }
    [[nodiscard]] LooksModel* looks() { return &looks_; }
    [[nodiscard]] PillModel* pill() { return &pill_; }
    [[nodiscard]] AccountModel* account() { return &account_; }
    [[nodiscard]] ProjectsModel* projects() { return projects_.get(); }
    [[nodiscard]] DictionaryModel* dictionary() { return dictionary_.get(); }
    [[nodiscard]] ReportsModel* reports() { return reports_.get(); }
    [[nodiscard]] AssistantModel* assistant() { return assistant_.get(); }
    [[nodiscard]] SummaryModel* summary() { return summary_.get(); }
    [[nodiscard]] OnboardingModel* onboarding() { return onboarding_.get(); }
    [[nodiscard]] PrivacyModel* privacy() { return privacy_.get(); }
    [[nodiscard]] DataModel* data() { return data_.get(); }
    [[nodiscard]] ToastModel* toast() { return &toast_; }

    /// Starts listening, or ends and processes.
    Q_INVOKABLE void toggleVoice();
    /// The window shows another page.
    Q_INVOKABLE void pageShown(const QString& page);

    /// Asks the window to show a page ("home", "reports", "projects", "dictionary", "settings", "account").
    void showPage(const QString& page) { Q_EMIT pageWanted(page); }
    /// Asks the window to put the keyboard focus into the input bar.
    void focusInput() { Q_EMIT inputFocusWanted(); }

signals:
    void pageWanted(const QString& page);
    void inputFocusWanted();

private:
    VoiceManager* voice_;
    HomeModel home_;
    SettingsModel settings_;
    LooksModel looks_;
    PillModel pill_;
    AccountModel account_;
    ToastModel toast_;
    std::unique_ptr<ProjectsModel> projects_;
    std::unique_ptr<DictionaryModel> dictionary_;
    std::unique_ptr<ReportsModel> reports_;
    std::unique_ptr<AssistantModel> assistant_;
    std::unique_ptr<SummaryModel> summary_;
    std::unique_ptr<OnboardingModel> onboarding_;
    std::unique_ptr<PrivacyModel> privacy_;
    std::unique_ptr<DataModel> data_;
    std::function<void(const std::string&)> happened_;
    Subscription projectSubscription_;
};

}  // namespace tolvik
