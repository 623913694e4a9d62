#include "core/record_json.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

constexpr const char* kTask =
    R"({"id":"A","title":"t","status":"open","isActive":false,"createdAt":"c","updatedAt":"u","sortOrder":1,"colorIndex":2})";

std::string without(std::string text, std::string_view part) {
    return text.replace(text.find(part), part.size(), "");
}

TEST(RecordJson, RequiredMembersMustBeThereAndOptionalOnesMayBeMissing) {
    RecordDecoder decoder;
    const auto tasks = decoder.array<TaskModel>(std::string("[") + kTask + "]");
    ASSERT_TRUE(tasks);
    EXPECT_FALSE(tasks->front().completedAt || tasks->front().tagId || tasks->front().previousTaskId);
    for (const char* part : {R"("isActive":false,)", R"("sortOrder":1,)", R"(,"colorIndex":2)", R"("title":"t",)"}) {
        EXPECT_FALSE(decoder.array<TaskModel>("[" + without(kTask, part) + "]")) << part;
    }
    const auto entries = decoder.array<TimeEntry>(
        R"([{"id":"e","taskId":"A","startedAt":"2026-01-01T00:00:00.000Z","endedAt":"x","durationMs":null,"createdAt":""}])");
    ASSERT_TRUE(entries);
    EXPECT_FALSE(entries->front().isRunning());
    EXPECT_FALSE(entries->front().durationMs);
}

TEST(RecordJson, OrderUnknownMembersAndOddTextsAreNoTrouble) {
    RecordDecoder decoder;
    const auto tags = decoder.array<TagModel>(
        R"( [ {"updatedAt":"2026-01-01T00:00:00+02:00","new":{"deep":[1,2]},"createdAt":"ünï\u0000","name":"\ud83d\ude00",
               "colorIndex":3.0,"id":"not a uuid","colorIndex":9} ] )");
    ASSERT_TRUE(tags) << tags.error();
    EXPECT_EQ(tags->front().colorIndex, 3);
    std::string out;
    appendRecords(out, *tags);
    EXPECT_EQ(out,
              "[{\"id\":\"not a uuid\",\"name\":\"😀\",\"colorIndex\":3,\"createdAt\":\"ünï\\u0000\",\"updatedAt\":"
              "\"2026-01-01T00:00:00+02:00\"}]");
    EXPECT_EQ(decoder.array<TagModel>(out), *tags);
}

TEST(RecordJson, DamageIsAnErrorAndNeverMore) {
    RecordDecoder decoder;
    std::vector<TaskModel> out(1);
    const std::string deep = R"({"id":)" + std::string(5000, '[') + std::string(5000, ']') + "}";
    for (const std::string& bad :
         {std::string("{"), std::string("{}"), std::string(kTask) + ",", std::string("null"), std::string("\"\xFF\""),
          std::string(R"({"id":"\ud800"})"), deep, std::string(kTask) + "],[" + kTask, without(kTask, "1"),
          std::string(kTask).replace(std::string(kTask).find('1'), 1, "1.5")}) {
        EXPECT_FALSE(decoder.piece(bad, out)) << bad.substr(0, 80);
        EXPECT_EQ(out.size(), 1U);
    }
    EXPECT_TRUE(decoder.piece(kTask, out));
    EXPECT_TRUE(decoder.piece("", out));
    EXPECT_EQ(out.size(), 2U);
    // A decoder that met damage goes on as before.
    EXPECT_EQ(decoder.array<TaskModel>("[1]").error(), "[0]: not an object");
}

}  // namespace
}  // namespace tolvik
