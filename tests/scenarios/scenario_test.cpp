// Runs the utterance scenarios of this folder. A file holds blocks of lines:
//
//   @ *planning | invoice | x taxes    the log: latest task first, "*" running, "x" done
//   > switch to invoice                a sentence; each begins anew from the log above
//   < → invoice                        the line that the user sees
//   = *invoice | planning | x taxes    the log afterwards; left out where nothing changes
//   >> stop                            a further sentence, on the log as the last one left it
//   # a comment
//
// Every sentence is previewed first, which must foretell the same line and change nothing.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "base/text.h"
#include "tests/fakes/store_fixture.h"
#include "voice/parse/command_executor.h"

namespace tolvik {
namespace {

struct Step {
    int line = 0;
    std::string given;
    bool goesOn = false;
    std::string sentence;
    std::string feedback;
    std::string after;
};

std::vector<Step> stepsOf(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::vector<Step> out;
    std::string line;
    std::string given;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        const std::string rest = line.size() > 2 ? trimmed(line.substr(2)) : "";
        if (line.starts_with("@")) {
            given = rest;
        } else if (line.starts_with(">>")) {
            out.push_back({number, given, true, rest, "", ""});
        } else if (line.starts_with(">")) {
            out.push_back({number, given, false, rest, "", ""});
        } else if (line.starts_with("<") && !out.empty()) {
            out.back().feedback = rest;
        } else if (line.starts_with("=") && !out.empty()) {
            out.back().after = rest;
        } else if (!line.empty() && !line.starts_with("#")) {
            ADD_FAILURE() << file << ":" << number << ": not a scenario line: " << line;
        }
    }
    return out;
}

std::vector<std::string> parts(std::string_view text) {
    std::vector<std::string> out;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('|', begin), text.size());
        if (std::string part = trimmed(text.substr(begin, end - begin)); !part.empty()) {
            out.push_back(std::move(part));
        }
        begin = end + 1;
    }
    return out;
}

class Scenario : public StoreTest, public ::testing::WithParamInterface<std::string> {
protected:
    void fill(std::string_view given) {
        store.reset();
        WriteBatch nothingLeft;
        const auto keys = values.keys();
        for (const std::string& key : *keys) {
            nothingLeft.writes.emplace_back(WriteBatch::EraseValue{key});
        }
        ASSERT_TRUE(values.commit(nothingLeft));
        restart();
        const std::vector<std::string> tasks = parts(given);
        bool anyRuns = false;
        for (auto it = tasks.rbegin(); it != tasks.rend(); ++it) {
            clock.advance(Millis{60'000});
            const bool isDone = it->starts_with("x ");
            const bool runs = it->starts_with("*");
            anyRuns = anyRuns || runs;
            const Identifier id = start(isDone ? it->substr(2) : runs ? it->substr(1) : *it);
            if (isDone) {
                store->markDone(id);
            }
        }
        if (!anyRuns && store->activeTask() != nullptr) {
            store->stopTask(store->activeTask()->id);
        }
        clock.advance(Millis{60'000});
    }

    /// The log in the form of a scenario line.
    std::string shown() {
        std::vector<TaskModel> tasks = store->tasks();
        std::ranges::reverse(tasks);
        std::ranges::stable_sort(tasks, [](const TaskModel& a, const TaskModel& b) {
            const auto rank = [](const TaskModel& t) { return t.isActive ? 0 : t.isOpen() ? 1 : 2; };
            return rank(a) != rank(b) ? rank(a) < rank(b) : a.updatedAt > b.updatedAt;
        });
        std::vector<std::string> out;
        for (const TaskModel& task : tasks) {
            out.push_back((task.isActive ? "*" : task.isOpen() ? "" : "x ") + task.title);
        }
        return joined(out, " | ");
    }

    LocalVoiceParser parser;
};

TEST_P(Scenario, DoesWhatItSays) {
    const std::filesystem::path file = std::filesystem::path(SCENARIO_FOLDER) / (GetParam() + ".txt");
    const std::vector<Step> steps = stepsOf(file);
    ASSERT_FALSE(steps.empty());
    for (const Step& step : steps) {
        SCOPED_TRACE(file.filename().string() + ":" + std::to_string(step.line) + ": " + step.sentence);
        if (!step.goesOn) {
            fill(step.given);
        }
        CommandExecutor executor({*store, parser, nullptr, {}, {}});
        const std::string before = shown();
        const CommandOutcome foretold = executor.preview(step.sentence);
        EXPECT_EQ(shown(), before) << "the preview changed the log";
        CommandOutcome outcome;
        int calls = 0;
        executor.execute(step.sentence, ChangeSource::voice, [&](const CommandOutcome& o) {
            outcome = o;
            ++calls;
        });
        EXPECT_EQ(calls, 1);
        EXPECT_EQ(outcome.feedback, step.feedback);
        EXPECT_EQ(foretold.feedback, outcome.feedback);
        EXPECT_EQ(foretold.action, outcome.action);
        EXPECT_EQ(shown(), step.after.empty() ? before : joined(parts(step.after), " | "));
        expectInvariants();
        clock.advance(Millis{60'000});
    }
}

std::vector<std::string> scenarioFiles() {
    std::vector<std::string> out;
    for (const auto& entry : std::filesystem::directory_iterator(SCENARIO_FOLDER)) {
        if (entry.path().extension() == ".txt" && entry.path().filename() != "CMakeLists.txt") {
            out.push_back(entry.path().stem().string());
        }
    }
    std::ranges::sort(out);
    return out;
}

INSTANTIATE_TEST_SUITE_P(Files, Scenario, ::testing::ValuesIn(scenarioFiles()),
                         [](const auto& scenario) { return scenario.param; });

}  // namespace
}  // namespace tolvik
