#include "app/models/window_model.h"

#include <utility>

namespace tolvik {

WindowModel::WindowModel(HomePorts home, SettingsPorts settings, PagePorts pages, DesktopAppearance* desktop,
                         QObject* parent)
    : QObject(parent),
      voice_(settings.voice),
      home_(home),
      settings_(settings),
      looks_(settings.values, desktop),
      account_(pages.account, home.zone) {
    AppStore& store = home.store;
    if (pages.dictionary != nullptr) {
        projects_ = std::make_unique<ProjectsModel>(ProjectsPorts{
            .store = store, .clock = home.clock, .zone = home.zone, .dictionary = *pages.dictionary, .toast = toast_});
        std::optional<DictionaryModel::Background> background;
        if (pages.workers != nullptr && pages.loop != nullptr) {
            background.emplace(*pages.workers, *pages.loop);
        }
        dictionary_ = std::make_unique<DictionaryModel>(*pages.dictionary, store, toast_, background);
        projectSubscription_ = pages.dictionary->onChanged([this] { home_.projectChosen(); });
    }
    std::function<void(DaySpan, std::function<void(std::optional<std::string>)>)> narrative;
    if (pages.assistant != nullptr) {
        narrative = [assistant = pages.assistant](DaySpan days, std::function<void(std::optional<std::string>)> done) {
            assistant->narrative(days, std::move(done));
        };
        assistant_ = std::make_unique<AssistantModel>(*pages.assistant, store, home.zone);
        summary_ = std::make_unique<SummaryModel>(*pages.assistant, store, [this] { return account_.signedIn(); });
        connect(assistant_.get(), &AssistantModel::homeWanted, this, [this] { showPage(QStringLiteral("home")); });
        connect(&account_, &AccountModel::changed, summary_.get(), &SummaryModel::accountChanged);
    }
    if (pages.workers != nullptr && pages.loop != nullptr) {
        reports_ = std::make_unique<ReportsModel>(ReportsPorts{.store = store,
                                                               .clock = home.clock,
                                                               .zone = home.zone,
                                                               .workers = *pages.workers,
                                                               .loop = *pages.loop,
                                                               .toast = toast_,
                                                               .pdf = pages.pdf,
                                                               .chooseFile = pages.chooseFile,
                                                               .narrative = narrative,
                                                               .isSignedIn = [this] { return account_.signedIn(); }});
        connect(reports_.get(), &ReportsModel::homeWanted, this, [this] { showPage(QStringLiteral("home")); });
        connect(&account_, &AccountModel::changed, reports_.get(), &ReportsModel::accountChanged);
    }
    if (pages.dictionary != nullptr && pages.workers != nullptr && pages.loop != nullptr && pages.chooseExisting) {
        data_ = std::make_unique<DataModel>(DataPorts{.store = store,
                                                      .dictionary = *pages.dictionary,
                                                      .values = settings.values,
                                                      .clock = home.clock,
                                                      .zone = home.zone,
                                                      .workers = *pages.workers,
                                                      .loop = *pages.loop,
                                                      .toast = toast_,
                                                      .chooseFile = pages.chooseFile,
                                                      .chooseExisting = pages.chooseExisting,
                                                      .happened = pages.happened});
    }
    happened_ = pages.happened;
    if (pages.onboarding) {
        onboarding_ = std::make_unique<OnboardingModel>(*pages.onboarding, settings_);
    }
    if (pages.telemetry != nullptr) {
        privacy_ = std::make_unique<PrivacyModel>(*pages.telemetry, pages.crash);
    }
    const auto colorOf = [&store](const Identifier& id) {
        const TaskModel* task = store.taskById(id);
        return task != nullptr ? static_cast<int>(task->colorIndex) : -1;
    };
    if (voice_ != nullptr) {
        pill_.follow(*voice_, colorOf, [this] { return home_.running() ? home_.runningTitle() : QString(); });
    } else {
        pill_.setColorOf(colorOf);
    }
}

void WindowModel::pageShown(const QString& page) {
    if (happened_) {
        happened_("page_open " + page.toStdString());
    }
}

void WindowModel::toggleVoice() {
    if (voice_ != nullptr) {
        voice_->toggle();
    }
}

}  // namespace tolvik
