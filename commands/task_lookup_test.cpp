#include "commands/task_lookup.h"

#include <gtest/gtest.h>

namespace tolvik {
namespace {

TaskModel task(std::string title, std::string status, int minute) {
    TaskModel model;
    model.id = Identifier("id of " + title + std::to_string(minute));
    model.title = std::move(title);
    model.status = std::move(status);
    model.updatedAt = Timestamp(Instant{minute * 60'000LL});
    return model;
}

class TaskLookup : public testing::Test {
protected:
    /// The minute of the task found, -1 when several fit, 0 when none does.
    int minuteOf(std::string_view name) const {
        const auto lookup = lookUpTask(tasks_, name);
        if (lookup.found == nullptr) {
            return lookup.candidates.empty() ? 0 : -1;
        }
        return static_cast<int>(lookup.found->updatedAt.instant()->ms / 60'000);
    }

    std::vector<TaskModel> tasks_{
        task("Report", "done", 9),        task("report", "open", 1),          task("REPORT", "open", 2),
        task("weekly report", "open", 3), task("Straße kehren", "open", 4),   task("invoice", "done", 5),
        task("garden plan", "done", 6),   task("garden planning", "open", 7), task("", "open", 8),
    };
};

TEST_F(TaskLookup, goesFromTheSurestToTheLikeliest) {
    EXPECT_EQ(minuteOf("id of Report9"), 9) << "an id beats everything";
    EXPECT_EQ(minuteOf(" report "), 2) << "open before done, then the latest changed";
    EXPECT_EQ(minuteOf("WEEKLY"), 3);
    EXPECT_EQ(minuteOf("STRASSE"), 4) << "case is folded as its language does";
    EXPECT_EQ(minuteOf("invoice"), 5) << "a done one when there is no open one";
    EXPECT_EQ(minuteOf("garden"), 7) << "the only open one, though a done one fits too";
    EXPECT_EQ(minuteOf("weekly reprot"), 3);
    EXPECT_EQ(minuteOf("rep"), -1);
    EXPECT_EQ(minuteOf("zebra"), 0);
    EXPECT_EQ(minuteOf("  "), 0);
}

TEST_F(TaskLookup, namesTheLikeliestFirstWhenSeveralFit) {
    const auto lookup = lookUpTask(tasks_, "rep");
    ASSERT_EQ(lookup.candidates.size(), 3U);
    EXPECT_EQ(lookup.candidates[0]->title, "weekly report");
    EXPECT_EQ(lookup.candidates[1]->title, "REPORT");
}

}  // namespace
}  // namespace tolvik
