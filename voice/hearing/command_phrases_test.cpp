#include "voice/hearing/command_phrases.h"

#include <algorithm>
#include <gtest/gtest.h>

#include "base/text.h"
#include "voice/parse/local_voice_parser.h"
#include "voice/parse/phrase_tables.h"

namespace tolvik {
namespace {

/// The phrase with a task named in it.
std::string sentence(const CommandPhrase& phrase) {
    return joined(words(phrase.lead + (phrase.takesTask ? " design review " : " ") + phrase.tail), " ");
}

// Hearing has its phrases written out, understanding has patterns. These two tests hold them together.

TEST(CommandPhrases, EveryPatternOfTheParserCanBeHeard) {
    for (const auto& table :
         {phrases::startPatterns, phrases::switchPatterns, phrases::donePatterns, phrases::stopPatterns}) {
        for (const std::string_view row : table) {
            const Pattern pattern(row);
            EXPECT_TRUE(std::ranges::any_of(
                commandPhrases(), [&](const CommandPhrase& phrase) { return pattern.found(sentence(phrase)); }))
                << "no phrase for " << row;
        }
    }
    for (const auto& table : {phrases::previousTask, phrases::lastTask}) {
        for (const std::string_view row : table) {
            EXPECT_TRUE(std::ranges::any_of(
                commandPhrases(), [&](const CommandPhrase& phrase) { return !phrase.takesTask && phrase.lead == row; }))
                << "no phrase for " << row;
        }
    }
    for (const std::string_view row : phrases::referencePrefixes) {
        EXPECT_TRUE(std::ranges::any_of(
            commandPhrases(),
            [&](const CommandPhrase& phrase) { return phrase.takesTask && phrase.lead == trimmed(row); }))
            << "no phrase for " << row;
    }
}

TEST(CommandPhrases, EveryPhraseIsUnderstood) {
    std::vector<TaskInfo> tasks;
    for (const char* title : {"Payroll", "Design review", "Tax return", "Inbox", "Garden", "Slides", "Newsletter",
                              "Backup", "Interviews", "Budget", "Roadmap", "Hiring"}) {
        tasks.push_back(
            {Identifier::fromRandom(1, tasks.size()), title, static_cast<int>(tasks.size()) + 1, tasks.empty()});
    }
    const LocalVoiceParser parser;
    for (const CommandPhrase& phrase : commandPhrases()) {
        const std::string said = sentence(phrase);
        if (said.starts_with("undo")) {
            continue;  // taken before the parser is asked
        }
        const ParseResult result = parser.parse(said, tasks);
        EXPECT_FALSE(result.action == "start" && LocalVoiceParser::classifyByPhrase(said).kind == "unknown") << said;
    }
}

}  // namespace
}  // namespace tolvik
