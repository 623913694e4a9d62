#include "app/shell/menu_items.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "app/shell/notifications.h"
#include "base/text.h"

namespace tolvik {
namespace {

using Kind = MenuItem::Kind;
using testing::ElementsAre;

TaskModel task(const std::string& title, std::int64_t updatedMinute, const std::string& status = "open") {
    TaskModel out;
    out.id = Identifier(title);
    out.title = title;
    out.status = status;
    out.updatedAt = Timestamp(Instant{updatedMinute * 60'000});
    return out;
}

std::vector<std::string> titles(const std::vector<MenuItem>& items) {
    std::vector<std::string> out;
    for (const MenuItem& item : items) {
        out.push_back(item.kind == Kind::separator ? "-" : item.title);
    }
    return out;
}

TEST(MenuItems, offerOnlyTheWindowWhenThereIsNothingElse) {
    const auto items = menuItems({}, nullptr);
    EXPECT_THAT(titles(items), ElementsAre("Nothing running", "-", "No other open tasks", "-", "Open Tolvik",
                                           "Check for Updates…", "Quit Tolvik"));
    EXPECT_FALSE(items[0].isEnabled());
    EXPECT_FALSE(items[2].isEnabled());
    EXPECT_TRUE(items[2].children.empty());
}

TEST(MenuItems, listTheEightOpenTasksThatChangedLast) {
    std::vector<TaskModel> tasks{task("running", 0), task("finished", 99, "done")};
    for (int i = 1; i <= 12; ++i) {
        tasks.push_back(task("t" + std::to_string(i), i));
    }
    const auto items = menuItems(tasks, &tasks[0]);
    EXPECT_THAT(titles(items), ElementsAre("running", "Stop", "Mark done", "-", "Switch to", "-", "Open Tolvik",
                                           "Check for Updates…", "Quit Tolvik"));
    EXPECT_FALSE(items[0].isEnabled());
    EXPECT_EQ(items[1].keys, "Ctrl+Shift+S");
    EXPECT_EQ(items[2].keys, "Ctrl+Shift+D");
    EXPECT_THAT(titles(items[4].children), ElementsAre("t12", "t11", "t10", "t9", "t8", "t7", "t6", "t5"));
    EXPECT_EQ(items[4].children[0].taskId, Identifier("t12"));
}

TEST(MenuText, cutsByWhatAPersonCountsAsCharacters) {
    EXPECT_EQ(menuText("exactly twenty-eight letters"), "exactly twenty-eight letters");
    EXPECT_EQ(menuText("Checkout: retry failed payments"), "Checkout: retry failed paym…");
    // No space is left before the ellipsis.
    EXPECT_EQ(menuText("twenty-six characters here and more"), "twenty-six characters here…");
    std::string flags;
    for (int i = 0; i < 40; ++i) {
        flags += "🇫🇮";
    }
    EXPECT_EQ(graphemeCount(menuText(flags)), 28U);
}

TEST(Notifications, reachOnlyTheListenersOfTheirName) {
    Notifications notifications;
    std::vector<std::string> heard;
    auto pages = notifications.on(Notification::navigateTo, [&](const auto& page) { heard.push_back(page); });
    const auto input = notifications.on(Notification::focusInput, [&](const auto&) { heard.emplace_back("input"); });
    notifications.post(Notification::navigateTo, std::string(page::settings));
    notifications.post(Notification::focusInput);
    notifications.post(Notification::sessionExpired);
    pages = {};
    notifications.post(Notification::navigateTo, std::string(page::home));
    EXPECT_THAT(heard, ElementsAre("settings", "input"));
    EXPECT_EQ(name(Notification::sessionExpired), "tolvikSessionExpired");
}

}  // namespace
}  // namespace tolvik
