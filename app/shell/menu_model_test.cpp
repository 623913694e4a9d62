#include "app/shell/menu_model.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "tests/fakes/store_fixture.h"

namespace tolvik {
namespace {

class MenuModelTest : public StoreTest {
protected:
    [[nodiscard]] MenuItem itemOf(MenuItem::Kind kind) const {
        for (const MenuItem& item : menu_.items()) {
            if (item.kind == kind) {
                return item;
            }
        }
        return {};
    }

    int opened_ = 0;
    MenuModel menu_{*store, {.open = [this] { ++opened_; }, .checkForUpdates = [] {}, .quit = [] {}}};
};

TEST_F(MenuModelTest, pressesReachTheLogAndTheMenuFollows) {
    const Identifier mail = start("mail");
    clock.advance(Millis{60'000});
    const Identifier review = start("review");
    EXPECT_EQ(menu_.text(), "review");
    const MenuItem toMail = itemOf(MenuItem::Kind::switchTo).children.at(0);
    EXPECT_EQ(toMail.title, "mail");

    clock.advance(Millis{60'000});
    menu_.press(toMail);
    EXPECT_EQ(menu_.text(), "mail");
    EXPECT_EQ(store->switchLogs().back().source, "manual");
    menu_.press(itemOf(MenuItem::Kind::markDone));
    EXPECT_EQ(task(mail).status, "done");
    EXPECT_EQ(menu_.text(), "");
    EXPECT_EQ(menu_.items().at(0).title, "Nothing running");

    // Presses of a menu that was open while the log moved on.
    menu_.press(itemOf(MenuItem::Kind::stop));
    static_cast<void>(store->deleteTask(review));
    MenuItem gone = toMail;
    gone.taskId = review;
    menu_.press(gone);
    EXPECT_EQ(store->activeTask(), nullptr);
    menu_.press(itemOf(MenuItem::Kind::open));
    EXPECT_EQ(opened_, 1);
}

TEST_F(MenuModelTest, tellsOnlyOfChanges) {
    start("first");
    int texts = 0;
    int menus = 0;
    const Subscription onText = menu_.onTextChanged([&] { ++texts; });
    const Subscription onItems = menu_.onItemsChanged([&] { ++menus; });
    static_cast<void>(store->createProject("a project"));
    store->shiftDay(-1);
    EXPECT_EQ(texts, 0);
    EXPECT_EQ(menus, 0);
    // Titles that are cut to the same text are the same text.
    const std::string longTitle = "a title of more than thirty characters";
    static_cast<void>(store->updateTask(store->activeTask()->id, {.title = longTitle + " one", .tagId = {}}));
    static_cast<void>(store->updateTask(store->activeTask()->id, {.title = longTitle + " two", .tagId = {}}));
    EXPECT_EQ(texts, 1);
    EXPECT_EQ(menus, 2);
    EXPECT_EQ(menu_.runningTitle(), longTitle + " two");
}

}  // namespace
}  // namespace tolvik
