#include "voice/parse/local_voice_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/text.h"
#include "tests/fakes/fake_sentence_embedder.h"
#include "voice/parse/phrase_tables.h"
#include "voice/parse/task_matching.h"

namespace tolvik {
namespace {

std::vector<TaskInfo> tasksOf(const std::vector<std::string>& titles, int active = 1) {
    std::vector<TaskInfo> out;
    for (const std::string& title : titles) {
        const int position = static_cast<int>(out.size()) + 1;
        out.push_back({Identifier("id-" + title), title, position, position == active});
    }
    return out;
}

/// "action [title] method confidence" of one sentence.
std::string said(const LocalVoiceParser& parser, std::string_view sentence, const std::vector<TaskInfo>& tasks = {}) {
    const ParseResult r = parser.parse(sentence, tasks);
    char confidence[16];
    std::snprintf(confidence, sizeof confidence, "%.3f", r.confidence);
    return r.action + " [" + r.taskTitle + "] " + r.method + " " + confidence;
}

TEST(LocalVoiceParser, TakesSilenceAsStop) {
    const LocalVoiceParser parser;
    EXPECT_EQ(said(parser, " \n\t "), "stop [] empty 1.000");
}

TEST(LocalVoiceParser, LetsStopWinOverDone) {
    const LocalVoiceParser parser;
    for (const auto* sentence :
         {"done for now", "i'm done", "I\u2019m done", "that's it", "Um, okay, stop", "heading out"}) {
        EXPECT_EQ(said(parser, sentence), "stop [] keyword 0.950") << sentence;
    }
    for (const auto* sentence : {"done", "all done", "i am done", "done it", "done now", "done this one", "ship it",
                                 "that's a wrap", "mark it as done", "finish this task", "done with it please"}) {
        EXPECT_EQ(said(parser, sentence), "done [] keyword 0.950") << sentence;
    }
}

TEST(LocalVoiceParser, StopsWhatIsNamedOnlyIfItRuns) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"report", "take a break", "pause"});
    EXPECT_EQ(said(parser, "stop working on the report", tasks), "stop [report] keyword 0.950");
    EXPECT_EQ(said(parser, "stop task two", tasks), "stop [take a break] keyword 0.400");
    EXPECT_EQ(said(parser, "stop the music", tasks), "stop [] keyword 0.950");
    // What a task is called wins over what the words command.
    EXPECT_EQ(said(parser, "take a break", tasks), "switch [take a break] exact 0.980");
}

TEST(LocalVoiceParser, NamesNewTasksByWhatFollowsTheCommand) {
    const LocalVoiceParser parser;
    EXPECT_EQ(said(parser, "Start the Quarterly Report."), "start [quarterly report] keyword 0.750");
    EXPECT_EQ(said(parser, "start coding the auth flow please"), "start [coding the auth flow] keyword 0.750");
    EXPECT_EQ(said(parser, "okay let's start working on a poster, please"), "start [poster] keyword 0.750");
    EXPECT_EQ(said(parser, "create a new task called the wall"), "start [wall] keyword 0.750");
    EXPECT_EQ(said(parser, "I want to work on um the slides"), "start [slides] keyword 0.550");
    EXPECT_EQ(said(parser, "lunch"), "start [lunch] keyword 0.300");
    EXPECT_EQ(said(parser, "lunch!!"), "start [lunch] keyword 0.300");
    EXPECT_EQ(said(parser, "dinner"), "start [dinner] keyword 0.550");
    EXPECT_EQ(said(parser, "?!"), "start [?!] keyword 0.300");
    EXPECT_EQ(graphemeCount(parser.parse("start " + std::string(600, 'x'), {}).taskTitle), 500U);
}

TEST(LocalVoiceParser, ResumesWhatExistsInsteadOfStartingItTwice) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"planning", "invoice", "a long title", "design review board"});
    EXPECT_EQ(said(parser, "start the invoice", tasks), "switch [invoice] exact 0.980");
    EXPECT_EQ(said(parser, "let's start the invoice task", tasks), "switch [invoice] exact 0.980");
    EXPECT_EQ(said(parser, "start a long title", tasks), "switch [a long title] exact 0.980");
    // Half a title is not the task: surely new when little of it was said, doubtful when much was.
    EXPECT_EQ(said(parser, "start design review", tasks), "start [design review] keyword 0.450");
    EXPECT_EQ(said(parser, "start design revi", tasks), "start [design review] keyword 0.450");
    EXPECT_EQ(said(parser, "start review board", tasks), "start [review board] keyword 0.568");
    EXPECT_EQ(said(parser, "invoice", tasks), "switch [invoice] exact 0.980");
}

TEST(LocalVoiceParser, UnderstandsHowPeopleGoToATask) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"planning", "invoice", "the wall", "open source review"});
    for (const auto* sentence :
         {"switch to invoice", "switch to the invoice task", "please switch over to the invoice", "switch to invoce",
          "jump back to my invoice", "pick the invoice back up and go to invoice", "swap to invoice", "resume invoice",
          "continue with the invoice", "do the invoice instead", "i'll do the invoice now", "switch to invoice, please",
          "let me switch over to invoice", "pick back up where i left off on the invoice"}) {
        EXPECT_EQ(said(parser, sentence, tasks), "switch [invoice] exact 0.980") << sentence;
    }
    EXPECT_EQ(said(parser, "go back to the wall", tasks), "switch [the wall] exact 0.980");
    EXPECT_EQ(said(parser, "open source review", tasks), "switch [open source review] exact 0.980");
    EXPECT_EQ(said(parser, "switch to the moon landing", tasks), "switch [] none 0.200");
}

TEST(LocalVoiceParser, UnderstandsPlacesInTheList) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"alpha", "bravo", "charlie"});
    EXPECT_EQ(said(parser, "switch to task two", tasks), "switch [bravo] position 0.950");
    EXPECT_EQ(said(parser, "second task", tasks), "switch [bravo] position 0.950");
    EXPECT_EQ(said(parser, "switch to the third one", tasks), "switch [charlie] position 0.950");
    EXPECT_EQ(said(parser, "go back to the previous one", tasks), "switch [bravo] position 0.900");
    EXPECT_EQ(said(parser, "let's do the previous task", tasks), "switch [bravo] position 0.900");
    EXPECT_EQ(said(parser, "the task i was on", tasks), "switch [bravo] position 0.900");
    EXPECT_EQ(said(parser, "last task", tasks), "switch [charlie] position 0.900");
    EXPECT_EQ(said(parser, "done with task number 3", tasks), "done [charlie] position 0.950");
    EXPECT_EQ(said(parser, "mark the first task as done", tasks), "done [alpha] position 0.950");
    EXPECT_EQ(said(parser, "go back to the previous one", tasksOf({"alpha"})), "switch [] none 0.200");
}

TEST(LocalVoiceParser, TakesABarePlaceAsThatTaskWhateverItIsAlikeInMeaning) {
    FakeSentenceEmbedder embedder;
    embedder.alike("the second task", "mark the task as done", 0.7);
    embedder.alike("i got the second task over with", "mark the task as done", 0.7);
    const LocalVoiceParser parser(&embedder);
    const auto tasks = tasksOf({"report", "invoice"});
    EXPECT_EQ(said(parser, "the second task", tasks), "switch [invoice] position 0.950");
    EXPECT_EQ(parser.parse("i got the second task over with", tasks).action, "done");
}

TEST(LocalVoiceParser, FinishesWhatIsNamed) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"planning", "slides", "ship the release"});
    for (const auto* sentence :
         {"i'm done with the slides", "finished slides", "mark slides done", "wrap up the slides",
          "mark the slides as done", "knocked out the slides", "that's a wrap on the slides", "close out the slides",
          "finish the slides task", "done with slides, please"}) {
        EXPECT_EQ(said(parser, sentence, tasks), "done [slides] exact 0.980") << sentence;
    }
    EXPECT_EQ(said(parser, "ship the release", tasks), "done [ship the release] exact 0.980");
    EXPECT_EQ(said(parser, "done with the moon landing", tasks), "done [] none 0.200");
}

TEST(LocalVoiceParser, AsksMeaningWhereNoPhraseFits) {
    FakeSentenceEmbedder embedder;
    const LocalVoiceParser parser(&embedder);
    embedder.alike("i shall leave for lunch", "take a break", 0.55);
    EXPECT_EQ(said(parser, "i shall leave for lunch"), "stop [] keyword 0.550");
    embedder.alike("lunch is on the table", "take a break", 0.549);
    EXPECT_EQ(said(parser, "lunch is on the table"), "start [lunch is on the table] keyword 0.550");
    // A sentence understood by meaning is no surer than the meaning was.
    const auto tasks = tasksOf({"planning", "email"});
    embedder.alike("task two would be nicer", "do the other one instead", 0.7);
    EXPECT_EQ(said(parser, "task two would be nicer", tasks), "switch [email] position 0.950");
    embedder.alike("email is what i turn to", "swap over to the other task", 0.62);
    embedder.alike("email is what i turn to", "email", 0.75);
    EXPECT_EQ(said(parser, "email is what i turn to", tasks), "switch [email] embedding 0.620");
    const auto anchor = parser.classifyByEmbedding("email is what i turn to");
    ASSERT_TRUE(anchor);
    EXPECT_EQ(anchor->anchor, "swap over to the other task");
}

TEST(LocalVoiceParser, SurvivesAnyText) {
    const LocalVoiceParser parser;
    const auto tasks = tasksOf({"planning", "", "\xff\xfe", "\u00c9t\u00e9"});
    EXPECT_EQ(parser.parse("switch to \u00e9t\u00e9", tasks).taskTitle, "\u00c9t\u00e9");
    EXPECT_EQ(parser.parse("start \xff\xc3\xff", tasks).action, "start");
    EXPECT_EQ(parser.parse(std::string(1 << 20, 'a'), tasks).action, "start");
    // Each of these takes a pattern that looks twice at every word the longest way.
    std::string again;
    for (int i = 0; i < 100'000; ++i) {
        again += " now";
    }
    EXPECT_EQ(parser.parse("do" + again + " x now", tasks).action, "switch");
    EXPECT_EQ(parser.parse("mark" + again + " x done", tasks).action, "done");
    EXPECT_EQ(parser.parse("task" + again + " number", tasks).action, "start");
}

}  // namespace
}  // namespace tolvik
