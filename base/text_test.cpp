#include "base/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "base/identifier.h"
#include "base/json_writer.h"

namespace tolvik {
namespace {

using testing::ElementsAre;

// A family of three joined by zero-width joiners: one character to a person, 8 UTF-16 units.
const std::string kFamily = "\U0001F468\u200D\U0001F469\u200D\U0001F467";

TEST(TextLength, IsCountedInTheUnitThatWasAskedFor) {
    const std::string text = "ae\u0301" + kFamily + "x";
    EXPECT_EQ(utf16Length(text), 3U + 8U + 1U);
    EXPECT_EQ(graphemeCount(text), 4U);
    EXPECT_THAT(graphemes(text), ElementsAre("a", "e\u0301", kFamily, "x"));
    EXPECT_EQ(firstGraphemes(text, 3), "ae\u0301" + kFamily);
    EXPECT_EQ(graphemeCount("\r\n"), 1U);
}

TEST(TextCut, NeverSplitsACharacter) {
    EXPECT_EQ(cutToUtf16(std::string(600, 'a'), 500), std::string(500, 'a'));
    EXPECT_EQ(cutToUtf16("ab" + kFamily, 9), "ab");
    EXPECT_EQ(cutToUtf16("ab" + kFamily, 10), "ab" + kFamily);
    EXPECT_EQ(cutToUtf16(kFamily, 3), "");
    EXPECT_EQ(cutToUtf16("\u00e9\u00e9", 2), "\u00e9\u00e9");
}

TEST(TextTrim, CutsEveryUnicodeBlankButNothingInside) {
    EXPECT_EQ(trimmed("\u00a0\t\n a b \u3000\u2028"), "a b");
    EXPECT_EQ(trimmed(" \n "), "");
    EXPECT_THAT(words(" one\u00a0two\n three "), ElementsAre("one", "two", "three"));
    EXPECT_TRUE(words("\u2003 ").empty());
}

TEST(TextCase, FollowsUnicodeAndNoLocale) {
    EXPECT_EQ(lowerCased("\u00c4RGER I"), "\u00e4rger i");
    EXPECT_EQ(caseFolded("STRASSE"), caseFolded("stra\u00dfe"));
}

TEST(TextBytes, ThatAreNotUtf8BecomeReplacementCharacters) {
    const std::string broken = "a\xff\xc3(";
    EXPECT_FALSE(isUtf8(broken));
    EXPECT_TRUE(isUtf8(toValidUtf8(broken)));
    EXPECT_EQ(codePoints(broken), U"a\ufffd\ufffd(");
    std::string json;
    appendJsonString(json, broken);
    EXPECT_EQ(nlohmann::json::parse(json).get<std::string>(), toValidUtf8(broken));
}

TEST(Patterns, IgnoreCaseAndGiveByteBounds) {
    const Pattern ticket("([A-Za-z]+)\\s+-\\s+(\\d+)");
    EXPECT_EQ(ticket.replacedAll("fix ABC - 123 and xyz  -  9", "$1-$2"), "fix ABC-123 and xyz-9");
    const Pattern task("T\u00c4SK (\\d+)?");
    const auto match = task.find("\u00e9\u00e9 t\u00e4sk 42!");
    ASSERT_TRUE(match);
    EXPECT_EQ(match->begin, 5U);
    EXPECT_EQ(match->end, 13U);
    EXPECT_THAT(match->groups, ElementsAre("t\u00e4sk 42", "42"));
    EXPECT_FALSE(task.found("nothing"));
}

TEST(JsonStrings, SurviveAParserWhateverTheyHold) {
    std::string all;
    for (char c = 1; c < 0x7f; ++c) {
        all += c;
    }
    all += "\u2028\u00e9" + kFamily;
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("te\"xt", all);
        writer.number("n", INT64_MIN);
        writer.boolean("b", true);
        writer.null("z");
    }
    const auto value = nlohmann::json::parse(out);
    EXPECT_EQ(value["te\"xt"].get<std::string>(), all);
    EXPECT_EQ(value["n"].get<std::int64_t>(), INT64_MIN);
    EXPECT_EQ(out.substr(out.size() - 20), R"(8,"b":true,"z":null})");
}

TEST(Identifiers, KeepTheirExactText) {
    for (const char* text : {"", "6F9619FF-8B86-D011-B42D-00C04FC964FF", "6f9619ff-8b86-d011-b42d-00c04fc964ff",
                             "00000000-0000-0000-0000-000000000000", "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF",
                             "00000000-0000-0000-C000-000000000000", "task/1", "6F9619FF-8B86-D011-B42D-00C04FC964F"}) {
        EXPECT_EQ(Identifier(text).text(), text);
        EXPECT_EQ(Identifier(text), Identifier(text));
    }
    EXPECT_TRUE(Identifier("").isEmpty());
    EXPECT_FALSE(Identifier("00000000-0000-0000-C000-000000000000").isEmpty());
    EXPECT_NE(Identifier("6F9619FF-8B86-D011-B42D-00C04FC964FF"), Identifier("6f9619ff-8b86-d011-b42d-00c04fc964ff"));
}

TEST(Identifiers, MadeFromChanceAreVersionFour) {
    EXPECT_EQ(Identifier::fromRandom(0, 0).text(), "00000000-0000-4000-8000-000000000000");
    EXPECT_EQ(Identifier::fromRandom(~0ULL, ~0ULL).text(), "FFFFFFFF-FFFF-4FFF-BFFF-FFFFFFFFFFFF");
}

}  // namespace
}  // namespace tolvik
