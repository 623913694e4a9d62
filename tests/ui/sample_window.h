#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ai/assistant.h"
#include "app/models/window_model.h"
#include "backend/endpoint.h"
#include "backend/session.h"
#include "base/zone.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"
#include "telemetry/telemetry.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_http_client.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/fake_voice_parts.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "tests/ui/sample_account.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// A desktop whose looks the test chooses.
class SampleAppearance final : public DesktopAppearance {
public:
    [[nodiscard]] Appearance current() const override { return looks; }
    Subscription onChanged(std::function<void()> callback) override { return changed_.connect(std::move(callback)); }
    void set(const Appearance& next) {
        looks = next;
        changed_.emit();
    }

    Appearance looks;

private:
    Signal<> changed_;
};

/// Everything behind a window, with real models, store and voice controller over fake ports. The clock starts on
/// Friday 6 November 2026 in Helsinki.
class SampleWindow : public FakeVoiceParts {
public:
    /// With `firstRun` the first-run steps are shown, as on a fresh machine; `crash` is what happened to the process
    /// before.
    explicit SampleWindow(bool firstRun = false, std::optional<CrashReport> crash = {});
    ~SampleWindow();

    /// Two weeks of work up to Thursday 19 November, 14:54: five tasks with time, one without, one running.
    void fillTwoWeeks();
    /// The same two weeks up to the morning of the last day, before anything was started.
    void fillUntilMorning();
    /// Moves the clock to a wall-clock reading of the day so many days after the start.
    void goTo(int day, int hour, int minute, int second = 0);
    /// A project's id; empty when there is none of that name.
    [[nodiscard]] Identifier project(const std::string& name) const;
    void useProject(const std::optional<Identifier>& id) { dictionary->setActiveProject(id); }
    /// From now on the server answers; `http` plays it.
    void signIn();
    /// Terms for the personal dictionary and for one project.
    void fillDictionary();
    /// The id of the first task of that title; empty when there is none.
    [[nodiscard]] Identifier task(const std::string& title) const;

    FakeClock clock;
    VirtualMainLoop loop{clock};
    NamedTimeZone zone{"Europe/Helsinki"};
    FakeRandom random;
    MemoryValueStore values;
    FakeMutationSink mutations;
    FakeHoldOff holdOff;
    ImmediateWorkers workers;
    SampleAppearance appearance;
    SampleAccount account;
    /// What lines that begin with "/" were carried out as.
    std::vector<std::string> sentences;
    /// Where an export goes, and what was proposed; an empty choice is a cancelled one.
    QString chosenFile;
    QString suggestedFile;
    /// What the secret service lacks, and what was noted about the steps and the data.
    std::string secretsProblem;
    std::vector<std::string> noted;
    FakeHttpClient http{loop};
    FakeSecretStore secrets;
    BackendEndpoint endpoint{[] { return std::string("https://tolvik.example"); }};
    Session session{values, secrets};
    /// The server's assistant, for who is signed in.
    AIService service{{endpoint, session, http, loop, clock, zone}};
    std::unique_ptr<Assistant> assistant;
    std::filesystem::path telemetryFolder;
    std::unique_ptr<Telemetry> telemetry;
    std::unique_ptr<DictionaryManager> dictionary;
    std::unique_ptr<AppStore> store;
    std::unique_ptr<VoiceManager> voice;
    std::unique_ptr<WindowModel> window;

private:
    void work(int day, const std::string& title, int fromHour, int fromMinute);
    void fillPastDays();
    DayKey firstDay_;
};

}  // namespace tolvik
