#include "base/json_reader.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

TEST(JsonReaderTest, ReadsWithinItsBoundsAndRefusesBeyond) {
    JsonReader reader({.bytes = 2'000'000, .depth = 4});
    EXPECT_EQ(reader.read("").error(), "the text is empty");
    EXPECT_EQ(reader.read(std::string_view()).error(), "the text is empty");
    EXPECT_EQ(std::int64_t(reader.read(" 7 ").value()), 7);
    EXPECT_TRUE(reader.read("[[[1]]]"));
    EXPECT_FALSE(reader.read("[[[[[1]]]]]"));
    EXPECT_EQ(reader.readObject("[]").error(), "not an object");
    EXPECT_FALSE(reader.read("{\"a\":1"));
    EXPECT_FALSE(reader.read("\"\xff\""));
    // A large text is followed by a small one, in room made anew.
    const std::string large = "\"" + std::string(1'999'998, 'x') + "\"";
    EXPECT_TRUE(reader.read(large));
    EXPECT_EQ(reader.read(large + " ").error(), "the text is too long");
    const auto small = reader.readObject(R"({"a":"b"})");
    ASSERT_TRUE(small);
    EXPECT_EQ(std::string_view(small->at_key("a")), "b");
}

}  // namespace
}  // namespace tolvik
