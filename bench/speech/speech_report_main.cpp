#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fmt/format.h>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/speech/listening.h"
#include "adapters/speech/process_speech_recognizer.h"
#include "base/text.h"
#include "base/zone.h"
#include "bench/speech/spoken_set.h"
#include "core/app_store.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_sinks.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/virtual_main_loop.h"
#include "voice/hearing/decode_plan.h"
#include "voice/parse/command_executor.h"
#include "voice/parse/local_voice_parser.h"

// Measures speech with the real engine, the real parser and the real rules of execution (signed out).
//
//     speech_report accuracy FOLDER SET [-v]     per voice and kind: the right action on the right task
//     speech_report names FOLDER SET             what the vocabulary adds to what is heard
//     speech_report noise FOLDER                 clips without a word that became text
//     speech_report latency FOLDER SET VOICE N   real time: release at the last word, and after 0.4 s

namespace tolvik {
namespace {

using Time = std::chrono::steady_clock;

class Zone final : public TimeZone {
public:
    [[nodiscard]] DayKey dayOf(Instant instant) const override { return zone_.dayOf(instant); }
    [[nodiscard]] LocalTime timeOf(Instant instant) const override { return zone_.timeOf(instant); }
    [[nodiscard]] Instant startOf(DayKey day) const override { return zone_.startOf(day); }
    [[nodiscard]] std::optional<Instant> at(DayKey day, LocalTime time) const override { return zone_.at(day, time); }
    [[nodiscard]] int offsetMinutes(Instant instant) const override { return zone_.offsetMinutes(instant); }
    [[nodiscard]] std::string name() const override { return zone_.name(); }

private:
    NamedTimeZone zone_{"UTC"};
};

/// A log with the set's tasks, the first one running, and what a sentence would do in it.
class Log {
public:
    explicit Log(const std::vector<std::string>& titles) {
        for (auto title = titles.rbegin(); title != titles.rend(); ++title) {
            static_cast<void>(store_.startTask(*title));
            clock_.advance(Millis(60000));
        }
    }

    CommandOutcome outcomeOf(const std::string& sentence) { return executor_.preview(sentence); }

    /// Whether the outcome is what the clip means.
    bool isRight(const SpokenClip& clip, const CommandOutcome& outcome) {
        if (clip.kind == "other" || clip.kind == "word") {
            return outcome.action == "none" || (outcome.action == "start" && !outcome.taskId);
        }
        if (clip.action != outcome.action) {
            return false;
        }
        if (clip.kind == "new") {
            return plain(outcome.taskTitle) == plain(clip.task);
        }
        if (clip.action == "stop" || clip.task.empty()) {
            return clip.action == "stop" || !outcome.taskId || outcome.taskId == executor_.candidates().front().id;
        }
        const auto candidates = executor_.candidates();
        std::string wanted = clip.task;
        if (wanted.starts_with('#')) {
            const int number = std::atoi(wanted.c_str() + 1);
            wanted = number < 0 ? candidates.back().title : candidates.at(static_cast<std::size_t>(number - 1)).title;
        }
        const auto found = std::ranges::find(candidates, wanted, &TaskInfo::title);
        return found != candidates.end() && outcome.taskId == found->id;
    }

    [[nodiscard]] static bool isSame(const CommandOutcome& a, const CommandOutcome& b) {
        return a.action == b.action && a.taskId == b.taskId && plain(a.taskTitle) == plain(b.taskTitle);
    }

private:
    /// Letters and digits only: "stand-up" and "standup" are one title.
    static std::string plain(const std::string& text) {
        std::string out;
        for (const char each : lowerCased(text)) {
            if (std::isalnum(static_cast<unsigned char>(each)) != 0) {
                out += each;
            }
        }
        return out;
    }

    FakeClock clock_;
    Zone zone_;
    FakeRandom random_;
    VirtualMainLoop loop_{clock_};
    MemoryValueStore values_;
    FakeMutationSink sink_;
    FakeHoldOff holdOff_;
    AppStore store_{AppStorePorts{values_, clock_, zone_, random_, loop_, sink_, holdOff_,
                                  [] { return std::optional<Identifier>(); }, [] { return false; }, [](DayKey) {}}};
    LocalVoiceParser parser_;
    CommandExecutor executor_{{store_, parser_, nullptr, [] { return false; }, [] { return std::string(); }}};
};

std::unique_ptr<Listening> loadOrEnd() {
    const SpeechPlaces places = findSpeechPlaces();
    auto loaded = Listening::load(places);
    if (!loaded) {
        fmt::print(stderr, "{}\n", loaded.error());
        std::exit(2);
    }
    return std::move(*loaded);
}

/// The clip as the speech process would take it, but as fast as it can.
Listening::Heard hear(Listening& listening, const std::vector<float>& samples) {
    DecodePlan plan;
    plan.append(samples);
    plan.finish();
    Listening::Heard last;
    while (const auto job = plan.next(0)) {
        last = listening.hear(std::span(plan.samples()).subspan(job->begin, job->end - job->begin), !plan.isLong());
        plan.decoded(*job, last.text);
    }
    return last;
}

int accuracy(const std::filesystem::path& folder, const std::string& name, bool verbose) {
    const SpokenSet set = readSpokenSet(folder, name);
    const auto listening = loadOrEnd();
    listening->setVocabulary(set.vocabulary);
    Log log(set.vocabulary.taskTitles);
    struct Count {
        int all = 0, typed = 0, plain = 0, biased = 0, asTyped = 0, rejected = 0;
    };
    std::map<std::string, std::map<std::string, Count>> counts;
    for (const SpokenClip& clip : set.clips) {
        const auto heard = hear(*listening, readClip(clip.file));
        const auto outcome = log.outcomeOf(heard.text);
        const bool right = log.isRight(clip, outcome);
        const bool plainRight = log.isRight(clip, log.outcomeOf(heard.engineText));
        const bool typed = log.isRight(clip, log.outcomeOf(clip.sentence));
        // Titles in part and doubtful starts are decided by the rules of execution; hearing is right when it does what
        // the sentence does that was typed.
        const bool asTyped = log.isSame(outcome, log.outcomeOf(clip.sentence));
        for (const std::string& voice : {clip.voice, std::string("all")}) {
            Count& count = counts[clip.kind][voice];
            ++count.all;
            count.typed += typed ? 1 : 0;
            count.plain += plainRight ? 1 : 0;
            count.biased += right ? 1 : 0;
            count.asTyped += asTyped ? 1 : 0;
            count.rejected += heard.text.empty() ? 1 : 0;
        }
        if (verbose && (!right || heard.text.empty())) {
            fmt::print("{} {}: said \"{}\", engine \"{}\", heard \"{}\": {} {} {}\n", clip.voice, clip.kind,
                       clip.sentence, heard.engineText, heard.text, outcome.action, outcome.taskTitle,
                       typed ? "" : "(also wrong when typed)");
        }
    }
    fmt::print("{:<6} {:<10} {:>5} {:>8} {:>9} {:>9} {:>9} {:>9}\n", "kind", "voice", "clips", "typed", "without",
               "with", "as typed", "rejected");
    for (const auto& [kind, voices] : counts) {
        for (const auto& [voice, count] : voices) {
            const auto share = [&](int part) { return fmt::format("{:.1f} %", 100.0 * part / count.all); };
            fmt::print("{:<6} {:<10} {:>5} {:>8} {:>9} {:>9} {:>9} {:>9}\n", kind, voice, count.all, share(count.typed),
                       share(count.plain), share(count.biased), share(count.asTyped), count.rejected);
        }
    }
    return 0;
}

/// The vocabulary's terms among the words of `text`.
std::vector<std::string> termsIn(const std::string& text, const SpeechVocabulary& vocabulary) {
    const std::vector<std::string> spoken = words(lowerCased(text));
    std::vector<std::string> found;
    std::ranges::copy_if(vocabulary.terms, std::back_inserter(found), [&](const std::string& term) {
        return std::ranges::find(spoken, lowerCased(term)) != spoken.end();
    });
    return found;
}

int names(const std::filesystem::path& folder, const std::string& name, bool verbose) {
    const SpokenSet set = readSpokenSet(folder, name);
    const auto listening = loadOrEnd();
    Log log(set.vocabulary.taskTitles);
    SpeechVocabulary without = set.vocabulary;
    without.terms.clear();
    fmt::print("{:<22} {:<6} {:>6} {:>12} {:>16} {:>10} {:>12} {:>12}\n", "heard with", "voice", "names", "names right",
               "sentences right", "if typed", "wrong names", "of clips");
    using Condition = std::pair<const char*, const SpeechVocabulary*>;
    for (const auto& [label, vocabulary] :
         {Condition("the engine alone", nullptr), Condition("titles and projects", &without),
          Condition("the vocabulary too", &set.vocabulary)}) {
        listening->setBias(vocabulary != nullptr);
        listening->setVocabulary(vocabulary == nullptr ? SpeechVocabulary{} : *vocabulary);
        struct Count {
            int clips = 0, names = 0, right = 0, sentences = 0, typed = 0, wrong = 0;
        };
        std::map<std::string, Count> counts;
        for (const SpokenClip& clip : set.clips) {
            const auto said = termsIn(clip.sentence, set.vocabulary);
            const std::string text = hear(*listening, readClip(clip.file)).text;
            const auto heard = termsIn(text, set.vocabulary);
            const bool isRight = heard == said && log.isRight(clip, log.outcomeOf(text));
            const bool isTypedRight = log.isRight(clip, log.outcomeOf(clip.sentence));
            for (const std::string& voice : {clip.voice, std::string("all")}) {
                Count& count = counts[voice];
                ++count.clips;
                count.wrong +=
                    std::ranges::any_of(heard, [&](auto& each) { return std::ranges::find(said, each) == said.end(); });
                if (!said.empty()) {
                    ++count.names;
                    count.right += std::ranges::find(heard, said.front()) != heard.end() ? 1 : 0;
                    count.sentences += isRight ? 1 : 0;
                    count.typed += isTypedRight ? 1 : 0;
                }
            }
            if (verbose && vocabulary == &set.vocabulary && heard != said) {
                fmt::print("{}: said \"{}\", heard \"{}\"\n", clip.voice, clip.sentence, text);
            }
        }
        for (const auto& [voice, count] : counts) {
            const auto share = [&](int part) { return fmt::format("{:.1f} %", 100.0 * part / count.names); };
            fmt::print("{:<22} {:<6} {:>6} {:>12} {:>16} {:>10} {:>12} {:>12}\n", label, voice, count.names,
                       share(count.right), share(count.sentences), share(count.typed), count.wrong, count.clips);
        }
    }
    return 0;
}

int noise(const std::filesystem::path& folder) {
    const SpokenSet set = readSpokenSet(folder, "noise");
    const auto listening = loadOrEnd();
    std::size_t wrong = 0;
    for (const SpokenClip& clip : set.clips) {
        const auto heard = hear(*listening, readClip(clip.file));
        if (!heard.text.empty()) {
            ++wrong;
            fmt::print("{} {}: \"{}\"\n", clip.file.string(), clip.kind, heard.text);
        }
    }
    fmt::print("{} of {} clips without speech became text\n", wrong, set.clips.size());
    return wrong == 0 ? 0 : 1;
}

void printTimes(const std::string& name, std::vector<double> times) {
    std::ranges::sort(times);
    if (!times.empty()) {
        fmt::print("{:<28} {:>3} commands: median {:.0f} ms, p95 {:.0f} ms, worst {:.0f} ms\n", name, times.size(),
                   times[times.size() / 2], times[times.size() * 95 / 100], times.back());
    }
}

int latency(const std::filesystem::path& folder, const std::string& name, const std::string& voice, std::size_t most) {
    const SpokenSet set = readSpokenSet(folder, name);
    AsioMainLoop loop;
    ProcessSpeechRecognizer recognizer(loop);
    if (!recognizer.isAvailable()) {
        fmt::print(stderr, "{}\n", recognizer.unavailableReason());
        return 2;
    }
    Log log(set.vocabulary.taskTitles);
    recognizer.prepare();
    if (!loop.runUntil([&] { return recognizer.state() == ProcessSpeechRecognizer::State::ready; }, Millis(30000))) {
        fmt::print(stderr, "The engine did not start.\n");
        return 2;
    }
    std::vector<double> lengths;
    std::map<bool, std::vector<double>> times;
    std::size_t count = 0;
    for (const SpokenClip& clip : set.clips) {
        if (clip.voice != voice || clip.kind == "other" || ++count > most) {
            continue;
        }
        for (const bool pause : {false, true}) {
            std::vector<float> samples = readClip(clip.file);
            lengths.push_back(static_cast<double>(samples.size()) / 16.0);
            if (pause) {
                // The clip itself ends with 80 ms of room.
                samples.resize(samples.size() + std::size_t{16} * 320, 0.0F);
            } else {
                samples.resize(samples.size() - std::size_t{16} * 60);
            }
            bool over = false;
            std::string text;
            SpeechCallbacks callbacks;
            callbacks.onFinal = [&](const std::string& final) {
                text = final;
                over = true;
            };
            callbacks.onError = [&](SpeechError) { over = true; };
            const auto session = recognizer.begin(16000, 1, set.vocabulary, callbacks);
            auto due = Time::now();
            constexpr std::size_t piece = 160;
            for (std::size_t at = 0; at < samples.size(); at += piece) {
                due += std::chrono::milliseconds(10);
                loop.runPosted();
                std::this_thread::sleep_until(due);
                session->append(std::span(samples).subspan(at, std::min(piece, samples.size() - at)));
            }
            const auto released = Time::now();
            session->finish();
            static_cast<void>(loop.runUntil([&] { return over; }, Millis(15000)));
            static_cast<void>(log.outcomeOf(text));
            times[pause].push_back(std::chrono::duration<double, std::milli>(Time::now() - released).count());
        }
    }
    printTimes("clip length", lengths);
    printTimes("released at the last word", times[false]);
    printTimes("released 0.4 s after it", times[true]);
    return 0;
}

}  // namespace
}  // namespace tolvik

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.size() >= 3 && arguments[0] == "accuracy") {
        return tolvik::accuracy(arguments[1], arguments[2], arguments.size() > 3 && arguments[3] == "-v");
    }
    if (arguments.size() >= 3 && arguments[0] == "names") {
        return tolvik::names(arguments[1], arguments[2], arguments.size() > 3 && arguments[3] == "-v");
    }
    if (arguments.size() == 2 && arguments[0] == "noise") {
        return tolvik::noise(arguments[1]);
    }
    if (arguments.size() == 5 && arguments[0] == "latency") {
        return tolvik::latency(arguments[1], arguments[2], arguments[3],
                               static_cast<std::size_t>(std::atoi(arguments[4].c_str())));
    }
    fmt::print(
        stderr,
        "speech_report accuracy FOLDER SET [-v] | names FOLDER SET [-v] | noise FOLDER | latency FOLDER SET VOICE "
        "COUNT\nFOLDER is what make_clips.py made; SET is one of sets.py.\n");
    return 2;
}
