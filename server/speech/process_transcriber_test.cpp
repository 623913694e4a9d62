#include "server/speech/process_transcriber.h"

#include <atomic>
#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "server/speech/prompt_vocabulary.h"

namespace tolvik::server {
namespace {

TEST(PromptVocabulary, findsTheUsersWordsAndKeepsFullStopsInTitles) {
    const auto words = vocabularyOfPrompt(
        "The speaker is a designer. They are working on a project called Atlas 2.0. Recent task titles: Fix v1.2; "
        "Write "
        "docs. Vocabulary they often use: Tamsin, Brivio.");
    EXPECT_EQ(words.projectNames, std::vector<std::string>{"Atlas 2.0"});
    EXPECT_EQ(words.taskTitles, (std::vector<std::string>{"Fix v1.2", "Write docs"}));
    EXPECT_EQ(words.terms, (std::vector<std::string>{"Tamsin", "Brivio"}));
    EXPECT_EQ(vocabularyOfPrompt("anything else"), SpeechVocabulary());
}

/// A program in place of the real one; it reads frames and does what the test wants.
std::filesystem::path program(const std::string& name, const std::string& script) {
    const std::filesystem::path path = testing::TempDir() + "tolvik-" + name + "-" + std::to_string(::getpid());
    std::ofstream(path) << "#!/usr/bin/python3\nimport os, struct, sys, time\n"
                           "def take():\n"
                           "    n = sys.stdin.buffer.read(4)\n"
                           "    if len(n) < 4: os._exit(0)\n"
                           "    return sys.stdin.buffer.read(struct.unpack('<I', n)[0])\n"
                           "def give(b):\n"
                           "    sys.stdout.buffer.write(struct.pack('<I', len(b)) + b); sys.stdout.buffer.flush()\n"
                        << script;
    ::chmod(path.c_str(), 0700);
    return path;
}

TEST(ProcessTranscriber, survivesAProcessThatDiesHangsOrLies) {
    // As the server does.
    std::signal(SIGPIPE, SIG_IGN);
    using std::chrono::milliseconds;
    const auto once = program("once", "take(); take(); give(b'{\"text\":\"hello\"}')\n");
    ProcessTranscriber ends({once, {}, 4, milliseconds(10'000)});
    EXPECT_EQ(ends.transcribe("sound", "prompt").value_or("?"), "hello");
    std::this_thread::sleep_for(milliseconds(300));
    // The first process has ended by now, as an idle one does: the next recording gets another.
    EXPECT_EQ(ends.transcribe(std::string(300'000, 's'), "").value_or("?"), "hello");

    ProcessTranscriber hangs({program("hangs", "take(); time.sleep(60)\n"), {}, 4, milliseconds(300)});
    EXPECT_EQ(hangs.transcribe(std::string(300'000, 's'), "").error().kind, ServiceProblem::Kind::unavailable);
    ProcessTranscriber lies(
        {program("lies", "sys.stdout.buffer.write(b'\\xff' * 100)\ntime.sleep(60)\n"), {}, 4, milliseconds(10'000)});
    EXPECT_EQ(lies.transcribe("s", "").error().kind, ServiceProblem::Kind::unavailable);
    ProcessTranscriber missing({"/nonexistent", {}, 4, milliseconds(300)});
    EXPECT_EQ(missing.transcribe("s", "").error().kind, ServiceProblem::Kind::unavailable);
}

TEST(ProcessTranscriber, letsAFewWaitAndTurnsTheOthersAway) {
    ProcessTranscriber slow(
        {program("slow", "while True:\n    take(); take(); time.sleep(0.2); give(b'{\"text\":\"t\"}')\n"),
         {},
         1,
         std::chrono::seconds(10)});
    std::atomic<int> heard = 0;
    std::atomic<int> busy = 0;
    std::vector<std::thread> callers;
    for (int one = 0; one < 6; ++one) {
        callers.emplace_back([&] {
            const auto result = slow.transcribe("s", "");
            heard += result.has_value();
            busy += !result && result.error().kind == ServiceProblem::Kind::busy;
        });
    }
    for (auto& caller : callers) {
        caller.join();
    }
    EXPECT_GE(heard, 1);
    EXPECT_GE(busy, 1);
    EXPECT_EQ(heard + busy, 6);
}

#ifdef TOLVIK_TRANSCRIBE
TEST(ProcessTranscriber, theRealProgramRefusesWhatIsNoSound) {
    ProcessTranscriber real({TOLVIK_TRANSCRIBE, {}, 4, std::chrono::seconds(30)});
    const auto result = real.transcribe("this is no sound", "");
    ASSERT_FALSE(result);
    // Without the models it says so before it looks at the recording.
    const bool hasModels = result.error().kind == ServiceProblem::Kind::badInput;
    EXPECT_NE(result.error().text.find(hasModels ? "cannot be read" : "not set up"), std::string::npos)
        << result.error().text;
}
#endif

}  // namespace
}  // namespace tolvik::server
