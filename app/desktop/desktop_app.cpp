#include "app/desktop/desktop_app.h"

#include <QApplication>
#include <QColor>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QTimer>
#include <QVariantMap>
#include <optional>
#include <spdlog/spdlog.h>
#include <utility>

#include "adapters/desktop/bus_notifier.h"
#include "adapters/desktop/bus_secret_service.h"
#include "adapters/desktop/logind_sleep_monitor.h"
#include "adapters/desktop/package_update_checker.h"
#include "adapters/desktop/portal_appearance.h"
#include "adapters/desktop/tray_item.h"
#include "adapters/desktop/x11_activation.h"
#include "adapters/desktop/x11_pill_desktop.h"
#include "adapters/desktop/xdg_login_start.h"
#include "adapters/qt/qt_main_loop.h"
#include "adapters/socket/command_socket_server.h"
#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "adapters/system/system_time_zone.h"
#include "adapters/system/thread_workers.h"
#include "ai/assistant.h"
#include "app/desktop/command_endpoint.h"
#include "app/desktop/desktop_account.h"
#include "app/desktop/main_window.h"
#include "app/desktop/menu_looks.h"
#include "app/desktop/termination.h"
#include "app/desktop/usage.h"
#include "app/desktop/voice_stack.h"
#include "app/desktop/voice_trace.h"
#include "app/models/window_model.h"
#include "app/pill/pill_window.h"
#include "app/shell/menu_model.h"
#include "app/shell/notifications.h"
#include "backend/profile_answers.h"
#include "dictionary/dictionary_manager.h"
#include "services/lazy_pdf_writer.h"
#include "services/log_services.h"
#include "ui/ui_module.h"
#include "voice/capture/push_to_talk_hotkey.h"

namespace tolvik {

namespace {

constexpr auto pillPage = "qrc:/qt/qml/Tolvik/Shell/PillHost.qml";

// Keys of the settings that only the shell reads.
constexpr auto closeToldKey = "tolvik.shell.closeTold";
constexpr auto seenDarkKey = "tolvik.appearance.dark";
constexpr auto seenContrastKey = "tolvik.appearance.highContrast";
constexpr auto seenStillnessKey = "tolvik.appearance.reducedMotion";

// After the first frame and what a person notices; before the first press of the chord.
constexpr Millis pillDelay{400};

Appearance rememberedAppearance(const ValueStore& values) {
    return {.dark = values.flag(seenDarkKey, false),
            .highContrast = values.flag(seenContrastKey, false),
            .reducedMotion = values.flag(seenStillnessKey, false)};
}

void showMessage(const std::string& title, const std::string& text) {
    auto* box = new QMessageBox(QMessageBox::Information, QString::fromStdString(title), QString::fromStdString(text));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setAttribute(Qt::WA_ShowWithoutActivating);
    box->setModal(false);
    box->show();
}

/// Lets the user choose where a file is saved, beside the other windows.
void chooseFile(const QString& suggested, const QString& filter, std::function<void(QString)> done) {
    auto* dialog = new QFileDialog(nullptr, QCoreApplication::translate("DesktopApp", "Export"),
                                   QStandardPaths::writableLocation(QStandardPaths::DownloadLocation), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QFileInfo(suggested).suffix());
    dialog->selectFile(suggested);
    QObject::connect(dialog, &QFileDialog::fileSelected, dialog,
                     [done = std::move(done)](const QString& path) { done(path); });
    dialog->open();
}

/// Lets the user choose a file to open, beside the other windows.
void chooseExisting(const QString& filter, std::function<void(QString)> done) {
    auto* dialog = new QFileDialog(nullptr, QCoreApplication::translate("DesktopApp", "Import"),
                                   QStandardPaths::writableLocation(QStandardPaths::DownloadLocation), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    QObject::connect(dialog, &QFileDialog::fileSelected, dialog,
                     [done = std::move(done)](const QString& path) { done(path); });
    dialog->open();
}

}  // namespace

/// Members stand in the order of their making; each may use those above it.
struct DesktopApp::Impl {
    Impl(const Paths& where, const DesktopOptions& wanted, StartTrace& startTrace, Trail trail)
        : options(wanted),
          trace(startTrace),
          crash(std::move(trail)),
          loginStart(where.config.parent_path(),
                     {(where.programs / "tolvik-desktop").string(), std::string("--hidden")}) {}

    [[nodiscard]] Result<void, StoreError> openLog(const Paths& paths);
    void compose();
    void start();
    void openWindow();
    [[nodiscard]] OnboardingPorts onboardingPorts();
    void happened(const std::string& name);
    void tellOfCrash();
    void startRest();
    void raiseWindow();
    [[nodiscard]] bool hidesOnClose();
    void checkForUpdates();
    void rememberAppearance();
    void updateTrayLooks();

    DesktopOptions options;
    StartTrace& trace;
    Trail crash;

    QtMainLoop loop;
    SystemClock clock;
    SystemTimeZone zone;
    SystemRandom random;
    // A worker may draw with it until the end.
    std::unique_ptr<LazyPdfWriter> pdf;
    ThreadWorkers workers;
    std::unique_ptr<LogServices> services;
    std::unique_ptr<Usage> usage;
    std::optional<ProfileAnswersUpload> answers;
    std::unique_ptr<CommandEndpoint> endpoint;
    std::unique_ptr<DesktopAccount> account;
    std::unique_ptr<AIService> answersOfServer;
    std::unique_ptr<Assistant> assistant;

    XdgLoginStart loginStart;
    PackageUpdateChecker updates{"tolvik", TOLVIK_VERSION};
    BusNotifier notifier{showMessage};
    std::unique_ptr<PortalAppearance> appearance;
    std::unique_ptr<VoiceStack> voice;
    std::unique_ptr<VoiceTrace> voiceTrace;
    Notifications notifications;
    std::unique_ptr<MenuModel> menu;
    std::unique_ptr<WindowModel> model;

    QQmlEngine engine;
    X11PillDesktop pillDesktop;
    std::unique_ptr<PillWindow> pill;
    std::unique_ptr<MainWindow> window;
    std::unique_ptr<TrayItem> tray;
    std::unique_ptr<LogindSleepMonitor> sleep;
    std::unique_ptr<Termination> termination;

    // What asynchronous answers of the desktop are bound to.
    QObject context;
    std::vector<Subscription> subscriptions;
    Timer pillTimer;
    bool uiReady = false;
    bool restStarted = false;
};

Result<void, StoreError> DesktopApp::Impl::openLog(const Paths& paths) {
    auto opened = LogServices::open(
        paths, {.clock = clock, .timeZone = zone, .random = random, .loop = loop, .workers = workers});
    if (!opened) {
        return failure(opened.error());
    }
    services = std::move(*opened);
    return {};
}

void DesktopApp::Impl::compose() {
    ValueStore& values = services->values();
    AppStore& store = services->store();
    pdf = std::make_unique<LazyPdfWriter>(services->paths().pdfModule());
    usage = std::make_unique<Usage>(Usage::Ports{*services, clock, random, loop, workers, crash.trail});
    answers.emplace(ProfileAnswersUpload::Ports{values, services->http(), services->endpoint(), services->session()});
    account = std::make_unique<DesktopAccount>(*services, clock, workers, loop);
    answersOfServer = std::make_unique<AIService>(AIService::Ports{.endpoint = services->endpoint(),
                                                                   .session = services->session(),
                                                                   .http = services->http(),
                                                                   .loop = loop,
                                                                   .clock = clock,
                                                                   .timeZone = zone});
    assistant =
        std::make_unique<Assistant>(Assistant::Ports{.store = store,
                                                     .service = *answersOfServer,
                                                     .session = services->session(),
                                                     .loop = loop,
                                                     .clock = clock,
                                                     .timeZone = zone,
                                                     .firstWeekday = static_cast<int>(QLocale().firstDayOfWeek()) % 7,
                                                     .workers = &workers});
    appearance = std::make_unique<PortalAppearance>(rememberedAppearance(values));
    voice =
        std::make_unique<VoiceStack>(VoiceStack::Ports{.loop = loop,
                                                       .workers = workers,
                                                       .clock = clock,
                                                       .random = random,
                                                       .services = *services,
                                                       .modelFolder = values.text(SettingsModel::modelFolderKey),
                                                       .transcribed = [this] { usage->transcribed(); },
                                                       .uploading = [this](auto bytes) { usage->uploading(bytes); }});
    menu = std::make_unique<MenuModel>(store, MenuModel::Actions{.open = [this] { raiseWindow(); },
                                                                 .checkForUpdates = [this] { checkForUpdates(); },
                                                                 .quit = [] { QCoreApplication::quit(); }});
    model = std::make_unique<WindowModel>(
        HomePorts{.store = store,
                  .clock = clock,
                  .zone = zone,
                  .execute =
                      [this](const std::string& sentence, auto done) {
                          services->executor().execute(sentence, ChangeSource::manual, std::move(done));
                      },
                  .activeProject = [this] { return services->dictionary().activeTagId(); },
                  .setActiveProject =
                      [this](std::optional<Identifier> project) { services->dictionary().setActiveProject(project); }},
        SettingsPorts{.values = values,
                      .voice = &voice->manager(),
                      .microphone = &voice->microphone(),
                      .recognizer = &voice->recognizer(),
                      .loginStart = &loginStart,
                      .updates = &updates,
                      .menuBarChanged =
                          [this](bool shown) {
                              if (tray) {
                                  tray->setWanted(shown);
                              }
                          },
                      .modelFolderChanged = [this](const std::string& folder) { voice->setModelFolder(folder); },
                      .dataFolder = QString::fromStdString(services->paths().data.string()),
                      .version = TOLVIK_VERSION},
        PagePorts{.dictionary = &services->dictionary(),
                  .account = account.get(),
                  .workers = &workers,
                  .loop = &loop,
                  .pdf = pdf.get(),
                  .chooseFile = chooseFile,
                  .assistant = assistant.get(),
                  .chooseExisting = chooseExisting,
                  .onboarding = onboardingPorts(),
                  .telemetry = &usage->telemetry(),
                  .crash = crash.before,
                  .happened = [this](const std::string& name) { happened(name); }},
        appearance.get());
    subscriptions.push_back(notifications.on(Notification::navigateTo, [this](const std::string& page) {
        raiseWindow();
        model->showPage(QString::fromStdString(page));
    }));
    subscriptions.push_back(notifications.on(Notification::focusInput, [this](const std::string&) {
        raiseWindow();
        model->focusInput();
    }));
}

OnboardingPorts DesktopApp::Impl::onboardingPorts() {
    return {.values = services->values(),
            .voice = &voice->manager(),
            .onlyOnRequest = options.skipWelcome,
            .lookAtSecrets = [this](auto done) { lookForSecretService(context, std::move(done)); },
            .shown = [this](const std::string& step) { usage->note("onboarding_step", {{"step", step}}); },
            .completed =
                [this](bool skipped, bool hasSpoken) {
                    usage->note("onboarding_completed", {{"skipped", skipped}, {"spoke", hasSpoken}});
                    answers->sync();
                    notifications.post(Notification::profileChanged);
                    notifications.post(Notification::onboardingCompleted);
                },
            .reset =
                [this] {
                    usage->note("onboarding_reset");
                    notifications.post(Notification::onboardingReset);
                }};
}

void DesktopApp::Impl::happened(const std::string& name) {
    const auto space = name.find(' ');
    if (space == std::string::npos) {
        usage->note(name);
    } else {
        usage->note(name.substr(0, space), {{"page", name.substr(space + 1)}});
    }
}

void DesktopApp::Impl::tellOfCrash() {
    if (crash.before) {
        usage->noteCrash(*crash.before);
        spdlog::warn("{}", crashNotice(*crash.before));
        // The window shows it where there is one.
        if (options.hidden) {
            notifier.tell("Tolvik", crashNotice(*crash.before));
        }
    }
}

void DesktopApp::Impl::start() {
    termination = std::make_unique<Termination>([] { QCoreApplication::quit(); });
    // Other processes wait for this, so it comes before anything slow.
    endpoint = std::make_unique<CommandEndpoint>(
        CommandEndpoint::Ports{.services = *services,
                               .clock = clock,
                               .timeZone = zone,
                               .loop = loop,
                               .raise = [this] { raiseWindow(); },
                               .telemetryChanged = [this] { model->privacy()->refresh(); }});
    if (options.hidden) {
        loop.post([this] { startRest(); });
    } else {
        openWindow();
    }
}

void DesktopApp::Impl::openWindow() {
    if (!std::exchange(uiReady, true)) {
        setUpUi(engine, *model->looks());
    }
    QQmlComponent component(&engine, QUrl(mainWindowUrl));
    std::unique_ptr<QObject> made(
        component.createWithInitialProperties({{"app", QVariant::fromValue(model.get())}, {"visible", false}}));
    std::unique_ptr<QQuickWindow> root(qobject_cast<QQuickWindow*>(made.get()));
    if (!root) {
        spdlog::critical("the window cannot be shown: {}", component.errorString().toStdString());
        loop.post([] { QCoreApplication::exit(3); });
        return;
    }
    static_cast<void>(made.release());
    trace.reached("window made");
    window = std::make_unique<MainWindow>(std::move(root),
                                          MainWindow::Hooks{.firstFrame =
                                                                [this] {
                                                                    trace.reached("first frame");
                                                                    // The rest takes its turn when this frame is
                                                                    // through.
                                                                    loop.post([this] { startRest(); });
                                                                },
                                                            .hidesOnClose = [this] { return hidesOnClose(); },
                                                            .activated =
                                                                [this] {
                                                                    services->store().refresh();
                                                                    account->wake();
                                                                    answers->sync();
                                                                },
                                                            .bringToFront = bringToFront});
    window->show();
}

void DesktopApp::Impl::startRest() {
    if (std::exchange(restStarted, true)) {
        return;
    }
    account->start();
    usage->note("app_start", {{"hidden", options.hidden}});
    tellOfCrash();
    usage->telemetry().flush();
    answers->sync();
    ValueStore& values = services->values();
    VoiceManager& manager = voice->manager();
    voiceTrace = VoiceTrace::fromEnvironment(manager, clock);
    manager.setEnabled(values.flag(SettingsModel::voiceEnabledKey, true));
    usage->follow(manager);
    if (const std::string problem = manager.chordProblem(); !problem.empty()) {
        spdlog::warn("the chord cannot be seen: {}", problem);
    }
    if (!voice->recognizer().isAvailable()) {
        spdlog::warn("speech is not recognised: {}", voice->recognizer().unavailableReason());
    }
    if (!std::exchange(uiReady, true)) {
        setUpUi(engine, *model->looks());
    }
    pill = std::make_unique<PillWindow>(engine, QUrl(pillPage), manager, pillDesktop, model->pill());
    pill->setReducedMotion(model->looks()->reducedMotion());
    QObject::connect(model->looks(), &LooksModel::changed, pill.get(), [this] {
        pill->setReducedMotion(model->looks()->reducedMotion());
        updateTrayLooks();
    });
    pillTimer = loop.after(pillDelay, [this] { pill->prepare(); });
    // Titles are compared by meaning from the first sentence on, and not before somebody speaks.
    subscriptions.push_back(manager.onChanged([this, wasListening = false]() mutable {
        const bool listening = voice->manager().phase() == VoicePhase::listening;
        if (listening && !std::exchange(wasListening, listening)) {
            services->warmUp();
        }
        wasListening = listening;
    }));

    subscriptions.push_back(appearance->onChanged([this] { rememberAppearance(); }));
    appearance->follow();
    tray = std::make_unique<TrayItem>(*menu, menuLooks(engine));
    tray->setWanted(values.flag(SettingsModel::menuBarKey, true));
    sleep = std::make_unique<LogindSleepMonitor>();
    subscriptions.push_back(sleep->onWake([this] {
        services->store().refresh();
        account->wake();
    }));
    if (const std::string notice = services->openingNotice(); !notice.empty()) {
        notifier.tell("Tolvik", notice);
    }
    trace.reached("all up");
    trace.print();
}

void DesktopApp::Impl::raiseWindow() {
    if (!window) {
        openWindow();
    }
    if (window) {
        window->raise();
    }
}

bool DesktopApp::Impl::hidesOnClose() {
    const bool inTray = tray && tray->isShown();
    const bool hearsChord = voice->manager().enabled() && voice->manager().chordProblem().empty();
    if (!inTray && !hearsChord) {
        return false;
    }
    ValueStore& values = services->values();
    if (!values.flag(closeToldKey, false)) {
        static_cast<void>(values.setFlag(closeToldKey, true));
        notifier.tell("Tolvik keeps running",
                      inTray ? "It is in the menu bar, where you can also quit it."
                             : "Hold " + PushToTalkHotkey::names(PushToTalkHotkey::current(values).modifiers) +
                                   " to speak. Start Tolvik again to open the window.");
    }
    return true;
}

void DesktopApp::Impl::checkForUpdates() {
    usage->note("update_check");
    updates.check([this](const UpdateReport& report) { notifier.tell("Tolvik", report.text); });
}

void DesktopApp::Impl::rememberAppearance() {
    ValueStore& values = services->values();
    const Appearance now = appearance->current();
    for (const auto& [key, value] : {std::pair{seenDarkKey, now.dark}, std::pair{seenContrastKey, now.highContrast},
                                     std::pair{seenStillnessKey, now.reducedMotion}}) {
        if (values.flag(key, false) != value) {
            static_cast<void>(values.setFlag(key, value));
        }
    }
}

void DesktopApp::Impl::updateTrayLooks() {
    if (tray) {
        tray->setLooks(menuLooks(engine));
    }
}

Result<std::unique_ptr<DesktopApp>, StoreError> DesktopApp::open(const Paths& paths, const DesktopOptions& options,
                                                                 StartTrace& trace, Trail trail) {
    auto impl = std::make_unique<Impl>(paths, options, trace, std::move(trail));
    if (auto opened = impl->openLog(paths); !opened) {
        return failure(opened.error());
    }
    trace.reached("log open");
    impl->compose();
    impl->start();
    return std::unique_ptr<DesktopApp>(new DesktopApp(std::move(impl)));
}

DesktopApp::DesktopApp(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
DesktopApp::~DesktopApp() = default;

}  // namespace tolvik
