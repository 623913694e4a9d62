#include "voice/hearing/phones.h"

#include <gtest/gtest.h>

#include "voice/hearing/pronouncer.h"

namespace tolvik {
namespace {

TEST(Phones, DistanceIsAMetricOfTheEar) {
    constexpr auto count = static_cast<Phone>(phoneNames.size());
    for (Phone a = 0; a < count; ++a) {
        EXPECT_EQ(substitutionCost(a, a), 0);
        for (Phone b = 0; b < count; ++b) {
            EXPECT_FLOAT_EQ(substitutionCost(a, b), substitutionCost(b, a));
            EXPECT_GE(substitutionCost(a, b), a == b ? 0.0F : 0.1F);
        }
    }
    const auto cost = [](const char* a, const char* b) { return substitutionCost(*phoneNamed(a), *phoneNamed(b)); };
    EXPECT_LT(cost("P", "B"), cost("P", "M"));
    EXPECT_LT(cost("IH", "IY"), cost("IY", "AA"));
    EXPECT_LT(cost("S", "Z"), cost("S", "K"));
    EXPECT_LT(cost("M", "N"), cost("M", "AA"));
}

TEST(Phones, BeginningsAndEndsAreMeasuredAtOnce) {
    const Phones heard = phonesFrom("S T AA R T P EY R OW L");
    const Phones start = phonesFrom("S T AA R T");
    const Phones payroll = phonesFrom("P EY R OW L");
    const auto fromFront = prefixDistances(heard, start);
    const auto fromBack = suffixDistances(heard, payroll);
    ASSERT_EQ(fromFront.size(), heard.size() + 1);
    ASSERT_EQ(fromBack.size(), heard.size() + 1);
    EXPECT_EQ(fromFront[5], 0);
    EXPECT_EQ(fromBack[5], 0);
    EXPECT_GT(fromFront[4], 0);
    EXPECT_FLOAT_EQ(fromFront.back(), soundDistance(heard, start));
    EXPECT_FLOAT_EQ(fromBack.front(), soundDistance(heard, payroll));
    EXPECT_FLOAT_EQ(soundDistance({}, start), soundDistance(start, {}));
}

TEST(Pronouncer, TheDictionaryComesFirstThenCompoundsThenSpelling) {
    const Pronouncer pronouncer("off AO F\nsite S AY T\nread R EH D\nread(2) R IY D\nbroken\n");
    EXPECT_EQ(pronouncer.waysToSay("read").size(), 2U);
    EXPECT_EQ(pronouncer.waysToSay("read")[1], phonesFrom("R IY D"));
    EXPECT_EQ(pronouncer.waysToSay("offsite").front(), phonesFrom("AO F S AY T"));
    EXPECT_FALSE(pronouncer.isKnown("broken"));
    EXPECT_FALSE(pronouncer.waysToSay("broken").front().empty());
}

TEST(Pronouncer, SpellingGivesWhatAReaderWouldSay) {
    struct Case {
        const char* word;
        const char* phones;
    };
    for (const Case& each : {Case{"tamsin", "T AE M S IH N"}, Case{"grafana", "G R AE F AE N AH"},
                             Case{"nightly", "N AY T L IY"}, Case{"phone", "F OW N"}, Case{"checking", "CH EH K IH NG"},
                             Case{"station", "S T EY SH AH N"}, Case{"city", "S IH T IY"}}) {
        const Phones meant = phonesFrom(each.phones);
        const float apart = soundDistance(phonesBySpelling(each.word), meant);
        EXPECT_LT(apart / static_cast<float>(meant.size()), 0.15F) << each.word;
    }
    EXPECT_TRUE(phonesBySpelling("").empty());
    EXPECT_TRUE(phonesBySpelling("1234").empty());
}

TEST(Pronouncer, TextIsSpokenWordByWord) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(spokenWords("Fix login-bug #42!"), (Words{"fix", "login", "bug", "forty", "two"}));
    EXPECT_EQ(spokenWords("API v2"), (Words{"a", "p", "i", "v", "two"}));
    EXPECT_EQ(spokenWords("R&D: I’m done"), (Words{"r", "and", "d", "i'm", "done"}));
    EXPECT_EQ(spokenWords("checkOut 2026 100"), (Words{"check", "out", "twenty", "twenty", "six", "one", "hundred"}));
    EXPECT_EQ(spokenWords(" ... "), Words{});
    EXPECT_EQ(spokenWords("Überblick"), Words{"überblick"});
}

}  // namespace
}  // namespace tolvik
