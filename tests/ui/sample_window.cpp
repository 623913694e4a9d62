#include "tests/ui/sample_window.h"

#include <array>
#include <filesystem>
#include <unistd.h>

namespace tolvik {

SampleWindow::SampleWindow(bool firstRun, std::optional<CrashReport> crash) : firstDay_(*DayKey::parse("2026-11-06")) {
    goTo(0, 8, 0);
    dictionary = std::make_unique<DictionaryManager>(DictionaryPorts{values, clock, random, loop, mutations, holdOff});
    store = std::make_unique<AppStore>(AppStorePorts{.values = values,
                                                     .clock = clock,
                                                     .timeZone = zone,
                                                     .random = random,
                                                     .loop = loop,
                                                     .mutations = mutations,
                                                     .holdOff = holdOff,
                                                     .activeProject = [this] { return dictionary->activeTagId(); },
                                                     .isSignedIn = [] { return false; },
                                                     .requestDay = {}});
    microphone.list = {{"desk", "Desk microphone", true}, {"cam", "Camera", false}};
    auto ports = voicePorts(loop, workers, clock, random, values,
                            std::filesystem::temp_directory_path() / "tolvik-sample-window");
    ports.execute = [this](const std::string& transcript, const std::function<void(const CommandOutcome&)>& done) {
        const auto id = store->startTask(transcript, ChangeSource::voice);
        CommandOutcome outcome;
        outcome.action = "start";
        outcome.taskId = id;
        outcome.taskTitle = transcript;
        outcome.feedback = transcript;
        done(outcome);
    };
    ports.preview = [](const std::string& transcript) {
        CommandOutcome outcome;
        outcome.action = "start";
        outcome.taskTitle = transcript;
        return outcome;
    };
    ports.undo = [this] { return store->undo(); };
    voice = std::make_unique<VoiceManager>(std::move(ports));
    voice->setEnabled(true);
    telemetryFolder = std::filesystem::temp_directory_path() / ("tolvik-sample-" + std::to_string(::getpid()));
    telemetry = std::make_unique<Telemetry>(Telemetry::Ports{.values = values,
                                                             .upload = {endpoint, session, http},
                                                             .loop = loop,
                                                             .clock = clock,
                                                             .random = random,
                                                             .folder = telemetryFolder,
                                                             .region = "FI",
                                                             .appVersion = "0.1.0",
                                                             .workers = nullptr});
    assistant = std::make_unique<Assistant>(Assistant::Ports{.store = *store,
                                                             .service = service,
                                                             .session = session,
                                                             .loop = loop,
                                                             .clock = clock,
                                                             .timeZone = zone,
                                                             .firstWeekday = 1,
                                                             .workers = &workers});
    window = std::make_unique<WindowModel>(
        HomePorts{.store = *store,
                  .clock = clock,
                  .zone = zone,
                  .execute =
                      [this](const std::string& sentence, const std::function<void(const CommandOutcome&)>& done) {
                          sentences.push_back(sentence);
                          CommandOutcome outcome;
                          outcome.action = "none";
                          outcome.feedback = "Couldn't find that task";
                          done(outcome);
                      },
                  .activeProject = [this] { return dictionary->activeTagId(); },
                  .setActiveProject = [this](std::optional<Identifier> id) { useProject(id); }},
        SettingsPorts{.values = values,
                      .voice = voice.get(),
                      .microphone = &microphone,
                      .recognizer = &recognizer,
                      .loginStart = nullptr,
                      .updates = nullptr,
                      .menuBarChanged = {},
                      .modelFolderChanged = {},
                      .dataFolder = QStringLiteral("/home/maren/.local/share/Tolvik"),
                      .version = QStringLiteral("0.1.0")},
        PagePorts{
            .dictionary = dictionary.get(),
            .account = &account,
            .workers = &workers,
            .loop = &loop,
            .chooseFile =
                [this](const QString& suggested, const QString&, const std::function<void(QString)>& done) {
                    suggestedFile = suggested;
                    done(chosenFile);
                },
            .assistant = assistant.get(),
            .chooseExisting = [this](const QString&, const auto& done) { done(chosenFile); },
            .onboarding = OnboardingPorts{.values = values,
                                          .voice = voice.get(),
                                          .onlyOnRequest = !firstRun,
                                          .lookAtSecrets = [this](const auto& done) { done(secretsProblem); },
                                          .shown = [this](const std::string& step) { noted.push_back("step " + step); },
                                          .completed =
                                              [this](bool skipped, bool spoke) {
                                                  noted.push_back(std::string(skipped ? "skipped" : "finished") +
                                                                  (spoke ? " and spoke" : ""));
                                              },
                                          .reset = [this] { noted.emplace_back("reset"); }},
            .telemetry = telemetry.get(),
            .crash = std::move(crash),
            .happened = [this](const std::string& name) { noted.push_back(name); }},
        &appearance);
}

SampleWindow::~SampleWindow() {
    std::error_code ignored;
    std::filesystem::remove_all(telemetryFolder, ignored);
}

void SampleWindow::goTo(int day, int hour, int minute, int second) {
    const DayKey key = firstDay_.plus(day);
    clock.set(zone.at(key, {.hour = hour, .minute = minute, .second = second}).value_or(zone.startOf(key)));
    if (store) {
        store->refresh();
    }
}

void SampleWindow::signIn() {
    (void)session.establish("t0ken", "u1", account.email(), account.userName);
    account.signedIn = true;
    account.changed.emit();
}

Identifier SampleWindow::task(const std::string& title) const {
    for (const TaskModel& task : store->tasks()) {
        if (task.title == title) {
            return task.id;
        }
    }
    return {};
}

Identifier SampleWindow::project(const std::string& name) const {
    for (const TagModel& tag : store->tags()) {
        if (tag.name == name) {
            return tag.id;
        }
    }
    return {};
}

void SampleWindow::fillDictionary() {
    dictionary->importEntries(
        "Ines Kallio (client lead at Brightwater)\nStripeline (payment provider)\nTurku (city)\nwebhook\n"
        "Tamsin (team member)\nindexer (service)\nkubelet\nMaren Holt (that is me)\nBrivio (client)");
    dictionary->importEntries("checkout\nidempotency key (header of a payment)\nPayLoop (gateway)", project("Harbour"));
}

void SampleWindow::work(int day, const std::string& title, int fromHour, int fromMinute) {
    goTo(day, fromHour, fromMinute);
    if (title.empty()) {
        if (const TaskModel* running = store->activeTask()) {
            (void)store->stopTask(Identifier(running->id));
        }
    } else if (const Identifier id = task(title); !id.isEmpty()) {
        (void)store->switchToTask(id);
    } else {
        (void)store->startTask(title);
    }
}

void SampleWindow::fillPastDays() {
    struct Day {
        int day;
        int hours;
        int minutes;
    };
    const auto studio = store->createProject("Studio");
    const auto harbour = store->createProject("Harbour");
    const auto brightwater = store->createProject("Brightwater");
    const auto projects = std::array{harbour, studio, brightwater};
    const auto titles = std::array<std::string, 3>{"Offline catalogue", "Launch films, edit", "Map tiles spike"};
    std::size_t next = 0;
    for (const Day day : {Day{0, 6, 40}, Day{3, 6, 10}, Day{4, 6, 50}, Day{5, 4, 30}, Day{6, 7, 30}, Day{7, 5, 50},
                          Day{8, 1, 5}, Day{10, 7, 20}, Day{11, 6, 30}, Day{12, 6, 55}}) {
        const std::string& title = titles.at(next % 3);
        useProject(projects.at(next % 3));
        ++next;
        work(day.day, title, 9, 0);
        if (day.day == 12) {
            work(12, "Stand-up", 10, 0);
            work(12, title, 10, 16);
        }
        work(day.day, "", 9 + day.hours, day.minutes);
    }
    work(12, "Stand-up", 16, 20);
    work(12, "", 16, 36);
    useProject(harbour);
}

void SampleWindow::fillUntilMorning() {
    fillPastDays();
    useProject(std::nullopt);
    goTo(13, 8, 50);
    loop.runPosted();
}

void SampleWindow::fillTwoWeeks() {
    fillPastDays();
    const auto use = [this](const char* name) { useProject(project(name)); };
    use("Studio");
    work(13, "Inbox and planning", 8, 52);
    use("Harbour");
    work(13, "Checkout: retry failed payments", 9, 31);
    work(13, "Stand-up", 10, 46);
    work(13, "", 11, 2);
    work(13, "Checkout: retry failed payments", 11, 11);
    work(13, "", 12, 19);
    use("Brightwater");
    work(13, "Brightwater invoice, October", 13, 2);
    work(13, "Inbox and planning", 13, 24);
    (void)store->markDone(task("Brightwater invoice, October"));
    work(13, "Call with Ines about the launch", 13, 42);
    for (const SwitchLog& log : store->dateSwitchLogs()) {
        if (log.toTaskId == task("Call with Ines about the launch")) {
            const Identifier id = log.id;
            (void)store->setSwitchReason(id, "Ines moved the call up");
            break;
        }
    }
    useProject(std::nullopt);
    work(13, "Book the train to Turku", 14, 6);
    use("Harbour");
    work(13, "Checkout: retry failed payments", 14, 6);
    goTo(13, 14, 54, 8);
    loop.runPosted();
}

}  // namespace tolvik
