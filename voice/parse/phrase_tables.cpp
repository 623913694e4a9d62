#include "voice/parse/phrase_tables.h"

namespace tolvik::phrases {
namespace {

using Text = std::string_view;

constexpr std::array<Text, 18> startRows{
    "^start(ing)? ",
    "^begin(ning)? ",
    R"(^new task\b)",
    "^create ",
    "^add(ing)? ",
    "^open(ing)? a new",
    "^let me start",
    "^kicking off",
    "^spinning up",
    "^working on something new",
    R"(^let'?s (start|begin|do|kick off|tackle)\b)",
    R"(^fire (it )?up\b)",
    R"(^firing up\b)",
    "^launch(ing)? ",
    R"(^spin up\b)",
    R"(^gonna (start|begin|do|work on|tackle)\b)",
    R"(^going to (start|work on|tackle)\b)",
    "^tackl(e|ing) ",
};

constexpr std::array<Text, 23> switchRows{
    "switch (back )?(to|over)",
    "^back to",
    "go (back )?(to|on)",
    "^move (back )?to",
    R"(^resume\b)",
    R"(^continue\b)",
    "^return(ing)? to",
    "^pick(ing)? (it |back )?up",
    "^hop(ping)? (back )?(on|to)",
    "^jump(ing)? (back )?(to|on)",
    R"(^working on\b)",
    "^let me (get back|go back|switch|work on)",
    "^(going|heading|moving) back",
    R"(^(re)?open(ing)?\b)",
    "previous task",
    "last task",
    "first task",
    R"(task (one|two|three|four|five|six|seven|eight|nine|ten|eleven|twelve|\d+))",
    "^(the )?(one|task) (before|i was)",
    R"(^swap(ping)? to\b)",
    R"(^flip(ping)? to\b)",
    R"(^i'?ll (do|work on)\b)",
    "^do(ing)? .* (instead|now)$",
};

constexpr std::array<Text, 27> doneRows{
    "^done$",
    "^done with",
    R"(^done (the )?task\b)",
    R"(^done the\b)",
    "^i am done$",
    "^all done$",
    "^done (it|now|here|this|that|this one|that one)$",
    "^finished with",
    R"(^finished\b)",
    R"(^completed\b)",
    "^close out",
    "^mark .* (as )?done",
    "^finish ",
    "^i'm done with",
    "^that's done",
    "^wrap up",
    "^closing out",
    "^checked off",
    "^complete ",
    "^finalize",
    "^ship it",
    R"(^knock(ed|ing)? out\b)",
    R"(^that'?s a wrap\b)",
    R"(^check(ing)? off\b)",
    "^ship(ped|ping)? ",
    R"(^shipped\b)",
    R"(^landed\b)",
};

constexpr std::array<Text, 29> stopRows{
    "^stop$",
    R"(^stop\b)",
    "^pause$",
    R"(^pause\b)",
    "^break$",
    "^take a break",
    "^stepping away",
    "^done for now",
    "^stopping",
    "^i'm done$",
    "^that's it$",
    "^enough$",
    "^hold on$",
    "^brb$",
    "^be right back",
    "^taking a break",
    "^need a break",
    "^going on break",
    "^i need to stop",
    "^let me stop",
    "^stop (the )?timer",
    "^pause (the )?timer",
    "^stop tracking",
    "^end (the )?day",
    "^calling it( for (today|now|the day))?$",
    R"(^wrap(ping)? up for now\b)",
    R"(^put(ting)? (this|it) down\b)",
    "^i'?m out$",
    R"(^heading out\b)",
};

constexpr std::array<Text, 38> prefixRows{
    "let me get back to ",
    "let me go back to ",
    "let me switch to ",
    "let me work on ",
    "i want to work on ",
    "i want to switch to ",
    "switch back to ",
    "going back to ",
    "heading back to ",
    "moving back to ",
    "hopping back to ",
    "jumping back to ",
    "start working on ",
    "begin working on ",
    "go back to ",
    "get back to ",
    "switch to ",
    "back to ",
    "go to ",
    "move to ",
    "return to ",
    "returning to ",
    "resume ",
    "continue ",
    "picking up ",
    "working on ",
    "done with ",
    "finished with ",
    "close out ",
    "finish ",
    "completed ",
    "complete ",
    "start ",
    "begin ",
    "create ",
    "new task ",
    "add ",
    "open ",
};

constexpr std::array<Text, 3> articleRows{"the ", "a ", "an "};

constexpr std::array<Text, 6> trailingRows{" right now", " real quick", " quickly", " please", " again", " now"};

constexpr std::array<Text, 13> fillerRows{"um",     "uh",   "so",   "actually", "basically", "literally", "you know",
                                          "i mean", "well", "okay", "alright",  "yeah",      "hmm"};

constexpr std::array<Text, 12> emptyRows{"it",  "this", "that", "with",    "the", "task",
                                         "one", "now",  "here", "current", "up",  "timer"};

constexpr std::array<Text, 47> vocabularyRows{
    "start",  "starting", "started",  "begin",     "stop",     "stopping",  "stopped", "pause",    "paused", "done",
    "finish", "finished", "complete", "completed", "switch",   "switching", "resume",  "continue", "back",   "working",
    "work",   "with",     "task",     "tasks",     "previous", "last",      "next",    "first",    "second", "third",
    "one",    "two",      "three",    "four",      "five",     "the",       "and",     "for",      "now",    "please",
    "again",  "this",     "that",     "mark",      "close",    "wrap",      "ship",
};

constexpr std::array<Text, 14> previousRows{
    "previous",         "previous task",       "previous one",
    "the previous one", "the previous task",   "one before",
    "the one before",   "before this",         "the one before this",
    "one before this",  "the one before that", "one before that",
    "prior task",       "the prior one",
};

constexpr std::array<Text, 4> lastRows{"last task", "last one", "the last one", "last"};

constexpr std::array<std::pair<Text, int>, 24> numberRows{{
    {"first", 1},   {"second", 2}, {"third", 3}, {"fourth", 4}, {"fifth", 5},     {"sixth", 6},
    {"seventh", 7}, {"eighth", 8}, {"ninth", 9}, {"tenth", 10}, {"eleventh", 11}, {"twelfth", 12},
    {"one", 1},     {"two", 2},    {"three", 3}, {"four", 4},   {"five", 5},      {"six", 6},
    {"seven", 7},   {"eight", 8},  {"nine", 9},  {"ten", 10},   {"eleven", 11},   {"twelve", 12},
}};

constexpr std::array<Anchors, 4> anchorRows{{
    {"start",
     {"start a new task", "begin working on this", "create a new task", "let me start something", "fire up the work",
      "launch this project", "kick off the new feature", "spin up a new task"}},
    {"stop",
     {"stop the timer", "pause for now", "take a break", "stepping away from this", "calling it for today",
      "putting this down for a bit", "wrapping up for now", "ending the work session"}},
    {"done",
     {"this task is finished", "i finished that one", "mark the task as done", "knocked out the work",
      "shipped the feature", "completed the implementation", "checked off the task", "that's a wrap on this"}},
    {"switch",
     {"switch to a different task", "go back to the previous task", "let me work on something else now",
      "swap over to the other task", "flip to the integration work", "move on to the next thing",
      "resume the earlier task", "do the other one instead"}},
}};

}  // namespace

constinit const std::span<const Text> startPatterns = startRows;
constinit const std::span<const Text> switchPatterns = switchRows;
constinit const std::span<const Text> donePatterns = doneRows;
constinit const std::span<const Text> stopPatterns = stopRows;
constinit const std::span<const Text> referencePrefixes = prefixRows;
constinit const std::span<const Text> leadingArticles = articleRows;
constinit const std::span<const Text> trailingFillers = trailingRows;
constinit const std::span<const Text> spokenFillers = fillerRows;
constinit const std::span<const Text> emptyReferences = emptyRows;
constinit const std::span<const Text> commandVocabulary = vocabularyRows;
constinit const std::span<const Text> previousTask = previousRows;
constinit const std::span<const Text> lastTask = lastRows;
constinit const std::span<const std::pair<Text, int>> numberWords = numberRows;
constinit const std::span<const Anchors> anchors = anchorRows;

}  // namespace tolvik::phrases
