#include "commands/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "commands/words.h"

namespace tolvik {
namespace {

Result<CommandRequest, std::string> parsed(std::vector<std::string> arguments) {
    return parseCommandLine(arguments);
}

TEST(CommandLine, takesOptionsAnywhereAndWordsAsTheyCome) {
    const auto request = parsed({"edit", "--title", "new title", "weekly", "--json", "report", "--project=Acme"});
    ASSERT_TRUE(request) << request.error();
    EXPECT_EQ(request->text(), "weekly report");
    EXPECT_EQ(request->option("title"), "new title");
    EXPECT_EQ(request->option("project"), "Acme");
    EXPECT_TRUE(request->has("json"));
    // A value may begin with a dash, and everything behind two dashes is text.
    EXPECT_EQ(parsed({"edit", "x", "--title", "-5 degrees"})->option("title"), "-5 degrees");
    EXPECT_EQ(parsed({"start", "--", "--json", "--"})->text(), "--json --");
    // An empty sentence is one.
    EXPECT_TRUE(parsed({"say", ""}));
    EXPECT_FALSE(parsed({"say"}));
}

TEST(CommandLine, refusesWithWhatToDoInstead) {
    EXPECT_NE(parsed({"swtich", "x"}).error().find("\"switch\""), std::string::npos);
    EXPECT_EQ(parsed({"zzzzzz"}).error().find("Did you mean"), std::string::npos);
    EXPECT_NE(parsed({"log", "--dya", "x"}).error().find("--dya"), std::string::npos);
    EXPECT_NE(parsed({"log", "--day"}).error().find("DAY"), std::string::npos);
    EXPECT_NE(parsed({"stop", "now"}).error().find("\"now\""), std::string::npos);
    EXPECT_FALSE(parsed({"start", "-x"}));
    // Commands of the programs are not offered to people.
    EXPECT_EQ(parsed({"healht"}).error().find("health"), std::string::npos);
}

TEST(CommandLine, takesNoForgottenValueFromTheNextOption) {
    const std::vector<std::string> forgotten{"edit", "x", "--title", "--json"};
    ASSERT_FALSE(parseCommandLine(forgotten));
    EXPECT_THAT(parseCommandLine(forgotten).error(), ::testing::HasSubstr("--title needs TITLE."));
    const std::vector<std::string> meant{"edit", "x", "--title=--json"};
    EXPECT_EQ(parseCommandLine(meant)->option("title"), "--json");
    const std::vector<std::string> text{"edit", "x", "--title", "--of a title--"};
    EXPECT_EQ(parseCommandLine(text)->option("title"), "--of a title--");
}

TEST(CommandLine, checksRequestsOfOthersTheSameWay) {
    EXPECT_TRUE(checkRequest({"switch", {"a", "b"}, {{"json", ""}}}));
    EXPECT_FALSE(checkRequest({"switch", {}, {}}));
    EXPECT_FALSE(checkRequest({"switch", {"a"}, {{"day", "x"}}}));
    EXPECT_FALSE(checkRequest({"rm", {}, {}}));
}

TEST(CommandMessage, survivesTheWireWhateverTheTextsHold) {
    const CommandRequest request{"start", {"a \"quoted\"\nresumé", ""}, {{"reason", "\x01 👩‍💻"}}};
    EXPECT_EQ(decodeRequest(encode(request)), request);
    const CommandResponse response{ExitCode::nothing, "line\n{\"exitCode\":0}\n", "error\n"};
    EXPECT_EQ(decodeResponse(encode(response)), response);
    for (const char* bytes :
         {"", "[]", "{}", "{\"command\":\"x\"}", "{\"command\":1,\"version\":1}", "{\"command\":\"x\",\"version\":2}",
          "{\"command\":\"x\",\"version\":1,\"arguments\":[1]}", "{\"command\":\"x\",\"version\":1,\"options\":[]}",
          "{\"command\":\"x\",\"version\":1,\"arguments\":[[[[[\"deep\"]]]]]}"}) {
        EXPECT_FALSE(decodeRequest(bytes)) << bytes;
    }
    for (const char* bytes : {"", "{}", "{\"exitCode\":0,\"outBytes\":5}\nfour", "{\"exitCode\":9,\"outBytes\":0}\n",
                              "{\"exitCode\":0,\"outBytes\":-1}\n"}) {
        EXPECT_FALSE(decodeResponse(bytes)) << bytes;
    }
}

TEST(Words, lengthsDaysAndColumns) {
    EXPECT_EQ(durationWords(-5), "0 s");
    EXPECT_EQ(durationWords(59'999), "59 s");
    EXPECT_EQ(durationWords(60'000), "1 min");
    EXPECT_EQ(durationWords(3'599'999), "59 min");
    EXPECT_EQ(durationWords(11'100'000), "3 h 05 min");
    EXPECT_EQ(dayWords(*DayKey::parse("2026-11-10")), "Tue 10 Nov 2026");
    EXPECT_EQ(displayWidth("ab日本"), 6U);
    EXPECT_EQ(padded("日本語", 5), "日本…");
    EXPECT_EQ(padded("日本語", 4), "日… ");
    EXPECT_EQ(padded("ab", 4), "ab  ");
    EXPECT_EQ(oneLine("a\nb\x1B[31m\xC2\x9B\x7F"), "a b [31m  ");
    EXPECT_EQ(oneLine("é\xFF"), "é\xEF\xBF\xBD");
    EXPECT_EQ(oneLine("a\u202Eb\u2066c\u2013שלום"), "a b c\u2013שלום");
}

}  // namespace
}  // namespace tolvik
