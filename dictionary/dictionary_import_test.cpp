#include "dictionary/dictionary_import.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tolvik {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<ImportTerm> terms(std::string_view text) {
    return parseImport(text).terms;
}

TEST(DictionaryImport, ReadsEachOfTheFourForms) {
    const ImportTerm tamsin{"Tamsin", "team member"};
    const ImportTerm indexer{"indexer", ""};
    EXPECT_THAT(terms(R"([{"term":" Tamsin ","hint":"team member "},{"hint":null,"term":"indexer","x":[{"term":1}]}])"),
                ElementsAre(tamsin, indexer));
    EXPECT_THAT(terms("\xEF\xBB\xBF  [\"Tamsin\", \" \", \"indexer\\n\"]\n"),
                ElementsAre(ImportTerm{"Tamsin", ""}, indexer));
    EXPECT_THAT(terms(R"({"zeta":"","Tamsin":"x","alpha":"","Tamsin":"team member"})"),
                ElementsAre(ImportTerm{"zeta", ""}, tamsin, ImportTerm{"alpha", ""}))
        << "in the order of the text, the later hint of a repeated name";
    EXPECT_THAT(terms("  Tamsin (team member) \r\n\n \t\nindexer\rTamsin( team member )\xE2\x80\xA8"),
                ElementsAre(tamsin, indexer, tamsin));
    for (const char* empty : {"", "\n \n", "[]", "{}", "[\"\"]"}) {
        EXPECT_THAT(terms(empty), IsEmpty()) << empty;
        EXPECT_FALSE(parseImport(empty).problem) << empty;
    }
}

TEST(DictionaryImport, SplitsALineAtItsLastBracketOnly) {
    EXPECT_THAT(terms("a (b) (c)"), ElementsAre(ImportTerm{"a (b)", "c"}));
    EXPECT_THAT(terms("smile :)\n(only a hint)\nf(x) = y\ng()"),
                ElementsAre(ImportTerm{"smile :)", ""}, ImportTerm{"f(x) = y", ""}, ImportTerm{"g", ""}));
}

TEST(DictionaryImport, TakesWhatIsNoSupportedJsonAsLinesAndSaysWhereItBreaks) {
    const auto cut = parseImport("[\n  \"Tämsin\",\n  \"ä\" \"indexer\"\n]");
    EXPECT_EQ(cut.terms.size(), 4U);
    ASSERT_TRUE(cut.problem && cut.problem->place);
    EXPECT_EQ(cut.problem->place->line, 3U);
    EXPECT_GE(cut.problem->place->column, 7U);
    EXPECT_LE(cut.problem->place->column, 15U);
    EXPECT_THAT(cut.problem->text, HasSubstr("line 3"));

    const auto open = parseImport(R"({"Tamsin": "team member")");
    EXPECT_THAT(open.problem->text, HasSubstr("ends too early"));
    EXPECT_THAT(open.terms, ElementsAre(ImportTerm{R"({"Tamsin": "team member")", ""}));

    EXPECT_THAT(parseImport(R"(["a", "b", {"term":"c"}])").problem->text, HasSubstr("Entry 3"));
    EXPECT_THAT(parseImport(R"([{"term":"a"},{"hint":"b"}])").problem->text, HasSubstr("Entry 2"));
    EXPECT_THAT(parseImport(R"([{"term":"a","hint":7}])").problem->text, HasSubstr("Entry 1"));
    EXPECT_THAT(parseImport(R"({"a":"b","c":["d"]})").problem->text, HasSubstr("Entry 2"));
    EXPECT_FALSE(parseImport("\"Tamsin\"").isJson);
    EXPECT_FALSE(parseImport("7").problem) << "nobody means JSON by a number";
}

TEST(DictionaryImport, BearsAnyBytes) {
    EXPECT_EQ(terms(std::string(200'000, '[')).size(), 1U);
    EXPECT_EQ(terms("[\"a\xff\"]"), (std::vector<ImportTerm>{{"a\xEF\xBF\xBD", ""}}));
    const std::string nothing(3, '\0');
    EXPECT_EQ(terms(nothing).size(), 1U);
}

TEST(DictionaryImport, ShowsWhatTheDictionaryHasBeforeItIsAdded) {
    const Identifier harbour("h");
    const std::vector<DictEntry> existing{{Identifier("1"), "Straße", "", std::nullopt},
                                          {Identifier("2"), "indexer", "", harbour}};
    const std::vector<ImportTerm> pasted{{"STRASSE", ""}, {"indexer", "x"}, {"Brivio", ""}, {"brivio", "again"}};
    const auto personal = planImport(pasted, existing, std::nullopt);
    EXPECT_THAT(personal.fresh, ElementsAre(pasted[1], pasted[2]));
    EXPECT_THAT(personal.known, ElementsAre("STRASSE", "brivio"));
    EXPECT_THAT(planImport(pasted, existing, harbour).known, ElementsAre("indexer", "brivio"));
}

TEST(DictionaryImport, CountsInWords) {
    EXPECT_EQ(importedText(0), "Imported 0 entries");
    EXPECT_EQ(importedText(1), "Imported 1 entry");
    EXPECT_EQ(importedText(3), "Imported 3 entries");
}

}  // namespace
}  // namespace tolvik
