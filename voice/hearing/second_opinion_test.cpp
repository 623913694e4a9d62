#include "voice/hearing/second_opinion.h"

#include <gtest/gtest.h>
#include <map>

#include "base/text.h"
#include "voice/hearing/command_phrases.h"

namespace tolvik {
namespace {

/// The words that the cases need, as a pronunciation dictionary has them.
constexpr const char* dictionary = R"(a AH
a(2) EY
back B AE K
backup B AE K AH P
begin B IH G IH N
bug B AH G
called K AO L D
campaign K AE M P EY N
clause K L AO Z
claws K L AO Z
client K L AY AH N T
continue K AH N T IH N Y UW
crash K R AE SH
date D EY T
dependencies D IH P EH N D AH N S IY Z
done D AH N
email IY M EY L
fence F EH N S
finished F IH N IH SH T
fix F IH K S
for F AO R
go G OW
hardware HH AA R D W EH R
i'm AY M
is IH Z
it IH T
login L AO G IH N
lunch L AH N CH
mail M EY L
male M EY L
monthly M AH N TH L IY
newsletter N UW Z L EH T ER
of AH V
or AO R
order AO R D ER
painting P EY N T IH NG
pause P AO Z
plumber P L AH M ER
presentation P R EH Z AH N T EY SH AH N
presumed P R IH Z UW M D
reform R AH F AO R M
resume R IH Z UW M
resumed R IH Z UW M D
sartre S AA R T R
seller S EH L ER
server S ER V ER
shop SH AA P
start S T AA R T
started S T AA R T IH D
stop S T AA P
switch S W IH CH
switched S W IH CH T
terraform T EH R AH F AO R M
test T EH S T
the DH AH
the(2) DH IY
to T UW
up AH P
update AH P D EY T
weather W EH DH ER
with W IH DH
)";

class SecondOpinion : public testing::Test {
protected:
    std::string best(const std::string& engine, const SoundEvidence& evidence = {}) const {
        return bestText(engine, grammar_, pronouncer_, evidence);
    }

    /// Evidence of a sound that fits each of these sentences as told, and others badly.
    static SoundEvidence sound(std::optional<std::string> grammarHeard, std::map<std::string, double> fits) {
        return {std::move(grammarHeard), [fits = std::move(fits)](const std::string& spoken) -> std::optional<double> {
                    const auto found = fits.find(spoken);
                    return found == fits.end() ? -40.0 : found->second;
                }};
    }

    const Pronouncer pronouncer_{dictionary};
    const CommandGrammar grammar_{pronouncer_,
                                  {{"Email campaign", "Monthly newsletter", "Update dependencies", "Backup server",
                                    "Order hardware", "Client presentation", "Fix login bug"},
                                   {"Tamsin", "Terraform"}}};
};

TEST_F(SecondOpinion, WhatSoundsTheSameBecomesTheUsersWords) {
    EXPECT_EQ(best("Finished e-mail campaign."), "finished Email campaign");
    EXPECT_EQ(best("Finished a male campaign."), "finished Email campaign");
    EXPECT_EQ(best("Start back up server."), "start Backup server");
    EXPECT_EQ(best("Resumed monthly newsletter."), "resume Monthly newsletter");
    EXPECT_EQ(best("switch to the presentation"), "switch to the presentation");
    EXPECT_EQ(best("Continue of date dependencies.",
                   sound("continue update dependencies",
                         {{"continue of date dependencies", -13.3}, {"continue update dependencies", -12.9}})),
              "continue Update dependencies");
}

TEST_F(SecondOpinion, WhatIsFarIsTakenOnlyWhenTheGrammarAndTheSoundAgree) {
    const std::string engine = "Or the hardware.";
    EXPECT_EQ(best(engine), "Or the hardware");
    EXPECT_EQ(best(engine, sound("order hardware", {{"or the hardware", -20.6}, {"order hardware", -18.7}})),
              "Order hardware");
    EXPECT_EQ(best(engine, sound("order hardware", {{"or the hardware", -15.0}, {"order hardware", -30.0}})),
              "Or the hardware");
}

TEST_F(SecondOpinion, AWordAloneBecomesACommandOnlyWhereTheEngineIsUnsure) {
    auto clause = sound("pause", {{"clause", -23.0}, {"pause", -23.4}, {"plus", -21.0}});
    clause.again = [] { return std::string("Claws."); };
    EXPECT_EQ(best("Clause.", clause), "pause");
    clause.again = [] { return std::string("Clause."); };
    EXPECT_EQ(best("Clause.", clause), "Clause");
    clause.again = [] { return std::string("Plus."); };
    EXPECT_EQ(best("Clause.", clause), "Plus") << "the other try fits better than the command";
    auto nothing = sound("pause", {{"pause", -24.0}});
    EXPECT_EQ(best("", nothing), "pause");
    EXPECT_EQ(best("", sound("pause", {{"pause", -27.0}})), "");
    EXPECT_EQ(best("", sound("start monthly", {{"pause", -24.0}})), "");
    nothing = sound("stop it", {{"shop", -27.7}, {"stop", -30.1}, {"stop it", -30.1}});
    nothing.again = [] { return std::string("Shop."); };
    EXPECT_EQ(best("", nothing), "Shop") << "a word that the second try finds stands beside the command";
}

TEST_F(SecondOpinion, ACommandThatTheGrammarDidNotHearIsTriedAgain) {
    auto evidence = sound("start monthly", {{"done", -25.7}, {"dumb", -23.9}, {"dawn", -25.0}});
    evidence.again = [] { return std::string("Dumb."); };
    EXPECT_EQ(best("Done.", evidence), "Dumb");
    evidence.again = [] { return std::string("Dawn."); };
    EXPECT_EQ(best("Done.", evidence), "Done") << "not much better";
    evidence.grammarHeard = "done it";
    evidence.again = [] { return std::string("Dumb."); };
    EXPECT_EQ(best("Done.", evidence), "done");
}

TEST_F(SecondOpinion, AShortSoundIsAskedForUntilItIsACommandOrAnotherWord) {
    const auto asked = [&](const std::string& first, const std::string& second, std::vector<std::string> further,
                           std::optional<std::string> grammarHeard, std::map<std::string, double> fits) {
        auto evidence = sound(std::move(grammarHeard), {});
        evidence.again = [second] { return second; };
        evidence.oneWord = {[further] { return further; },
                            [fits](const std::string& spoken) -> std::optional<double> {
                                const auto found = fits.find(spoken);
                                return found == fits.end() ? -40.0 : found->second;
                            }};
        return best(first, evidence);
    };
    EXPECT_EQ(asked("Clause.", "Pause.", {"Pause.", "Claws."}, "pause it", {{"pause", -14}, {"clause", -16}}), "pause");
    EXPECT_EQ(asked("Done.", "Dumb.", {"Dumb.", "Dumb."}, "done", {{"done", -18}, {"dumb", -14}}), "Dumb")
        << "the engine's first text is one of several";
    EXPECT_EQ(asked("Dumb.", "Dumb.", {"Done.", "Dumb."}, "done", {{"done", -18}, {"dumb", -14}}), "Dumb");
    EXPECT_EQ(asked("", "Stop.", {"", "Stop."}, "stop", {{"stop", -14}}), "stop");
    EXPECT_EQ(asked("", "Stop.", {"Shop.", "Shop."}, "stop", {{"stop", -19}, {"shop", -14}}), "Shop");
    EXPECT_EQ(asked("", "", {"", ""}, "pause", {{"pause", -15}}), "pause");
    EXPECT_EQ(asked("", "", {"", ""}, "pause", {{"pause", -25}}), "");
    EXPECT_EQ(asked("Clause.", "Clause.", {"Clause.", "Pause."}, "pause", {{"pause", -14}, {"clause", -16}}), "Clause")
        << "one word again and again stands";
    EXPECT_EQ(asked("Clause.", "Clause.", {"Order.", ""}, "pause", {{"pause", -14}, {"clause", -14.2}}), "Clause");
    EXPECT_EQ(asked("Clause.", "Clause.", {"Order.", ""}, "pause", {{"pause", -14}, {"clause", -16}}), "pause");
    EXPECT_EQ(asked("Clause.", "Pauls.", {"Order.", "Pause."}, "up", {{"pause", -14}, {"pauls", -9}, {"clause", -13}}),
              "pause")
        << "what is no word is no rival";
    EXPECT_EQ(asked("Clause.", "Claws.", {"Order.", ""}, "start monthly", {{"pause", -14}}), "Clause")
        << "the grammar heard no command of one word";
    EXPECT_EQ(asked("Backup server.", "Back.", {"Stop.", ""}, "stop", {{"stop", -12}}), "Backup server")
        << "a task's title needs no further tries";
}

TEST_F(SecondOpinion, ASecondTryCountsWhenItFitsBetterOrNamesATask) {
    auto evidence = sound(std::nullopt, {{"start painting the sartre", -18.0}, {"start painting the fence", -15.0}});
    evidence.again = [] { return std::string("Start painting the fence."); };
    EXPECT_EQ(best("Start painting the Sartre.", evidence), "Start painting the fence");
    EXPECT_EQ(best("Start painting the fence.", evidence), "Start painting the fence");
    evidence.again = [] { return std::string("Finished e-mail campaign."); };
    EXPECT_EQ(best("The weather it is up.", evidence), "finished Email campaign");
}

TEST_F(SecondOpinion, NewTasksAndOtherSentencesAreLeftAlone) {
    // The grammar forces every sound into a command; its word alone changes nothing.
    for (const char* said : {"Start painting the fence", "Called the plumber", "the weather is back", "Start lunch"}) {
        std::map<std::string, double> fits{{joined(spokenWords(said), " "), -13.0}, {"start monthly", -20.0}};
        EXPECT_EQ(best(said, sound("start monthly", fits)), said);
    }
}

TEST_F(SecondOpinion, NamesReplaceWhatIsNoWordAndRealWordsOnlyWhenTheyFitAsWell) {
    EXPECT_EQ(best("Start lunch with Tamson."), "Start lunch with Tamsin");
    const auto fits = [](double heard, double meant) {
        return sound("start update", {{"begin to reform test", heard}, {"begin terraform test", meant}});
    };
    EXPECT_EQ(best("Begin to reform test", fits(-15, -14)), "Begin Terraform test");
    EXPECT_EQ(best("Begin to reform test", fits(-14, -18)), "Begin to reform test");

    // A name that was put in is not taken for another name that sounds a little like it.
    const CommandGrammar alike(pronouncer_, {{}, {"Kelvora", "Calvaro"}});
    const auto both =
        sound(std::nullopt, {{"begin kelfora test", -16}, {"begin kelvora test", -14}, {"begin calvaro test", -15}});
    EXPECT_EQ(bestText("Begin Kelfora test", alike, pronouncer_, both), "Begin Kelvora test");

    // A second try may hold what the first one lost, and where a command begins no name is put for a likeness.
    auto twice = sound("start monthly", {{"start lunch with tam sun", -19.0}, {"start lunch with tamsin", -14.0}});
    twice.again = [] { return std::string("Start lunch with Tam sun."); };
    EXPECT_EQ(best("Start lunch with thousands", twice), "Start lunch with Tamsin");
    EXPECT_EQ(best("Terafon lunch", sound("start monthly", {{"terafon lunch", -14.0}, {"terraform lunch", -15.0}})),
              "Terafon lunch");
}

TEST_F(SecondOpinion, AMisheardLeadIsMendedBeforeANewTitle) {
    EXPECT_EQ(best("Sartre painting the fence",
                   sound("start monthly", {{"sartre painting the fence", -18.0}, {"start painting the fence", -14.0}})),
              "start painting the fence");
    EXPECT_EQ(best("Sartre painting the fence"), "Sartre painting the fence");
    EXPECT_EQ(best("Start painting the fence"), "Start painting the fence");
}

TEST_F(SecondOpinion, WithoutWordsOrTasksNothingIsMadeUp) {
    EXPECT_EQ(best(""), "");
    EXPECT_EQ(best(" ... "), "");
    const CommandGrammar empty(pronouncer_, {});
    EXPECT_EQ(bestText("Start the fence.", empty, pronouncer_, {}), "Start the fence");
    EXPECT_EQ(bestText("Pause!", empty, pronouncer_, {}), "pause");
    EXPECT_NE(empty.jsgf().find("public <command>"), std::string::npos);
}

TEST(CommandPhrases, TemplatesAreWrittenOut) {
    using Sentences = std::vector<std::string>;
    EXPECT_EQ(writtenOut("(go|move)? back"), (Sentences{"go back", "move back", "back"}));
    EXPECT_EQ(writtenOut("a (b (c|d))? e"), (Sentences{"a b c e", "a b d e", "a e"}));
    std::size_t withTail = 0;
    for (const CommandPhrase& phrase : commandPhrases()) {
        EXPECT_EQ(phrase.lead.find_first_of("()|?@"), std::string::npos) << phrase.lead;
        EXPECT_FALSE(phrase.lead.empty() && !phrase.takesTask);
        withTail += phrase.tail.empty() ? 0U : 1U;
    }
    EXPECT_GT(withTail, 2U);
}

TEST(CommandGrammar, TheWholeTitleIsNearerThanItsPartAndHyphensDoNotMatter) {
    const Pronouncer pronouncer{dictionary};
    const CommandGrammar grammar(pronouncer, {{"Fix login bug", "Stop-start test"}, {}});
    const auto near = grammar.nearest(pronouncer.sentence({"switch", "to", "fix", "login", "bug"}), 3);
    ASSERT_EQ(near.size(), 3U);
    EXPECT_EQ(near[0].text, "switch to Fix login bug");
    EXPECT_EQ(near[0].task, KnownSentence::Task::whole);
    EXPECT_LT(near[0].distance, 0.01F);
    EXPECT_LE(near[0].distance, near[1].distance);
    const auto words = grammar.vocabulary();
    EXPECT_EQ(std::count(words.begin(), words.end(), "login"), 1);
    EXPECT_TRUE(grammar.nearest({}, 3).empty());
}

}  // namespace
}  // namespace tolvik
