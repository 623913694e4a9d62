#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/shell/menu_items.h"
#include "base/subscription.h"
#include "core/app_store.h"

namespace tolvik {

/// The menu bar item: its menu, its text and what a press does, drawn by whatever shows it. Main loop only.
class MenuModel {
public:
    /// What the application does for items that are not the store's.
    struct Actions {
        std::function<void()> open;
        std::function<void()> checkForUpdates;
        std::function<void()> quit;
    };
    MenuModel(AppStore& store, Actions actions);

    [[nodiscard]] const std::vector<MenuItem>& items() const { return items_; }
    /// The running task's title, cut; empty while nothing runs.
    [[nodiscard]] const std::string& text() const { return text_; }
    /// The running task's whole title; empty while nothing runs.
    [[nodiscard]] const std::string& runningTitle() const { return runningTitle_; }

    /// The items became different ones.
    Subscription onItemsChanged(std::function<void()> callback) { return itemsChanged_.connect(std::move(callback)); }
    /// The text became a different one.
    Subscription onTextChanged(std::function<void()> callback) { return textChanged_.connect(std::move(callback)); }

    /// Does what the item says. An item of an older menu whose task is gone does nothing.
    void press(const MenuItem& item);

private:
    void rebuild();

    AppStore& store_;
    Actions actions_;
    std::vector<MenuItem> items_;
    std::string text_;
    std::string runningTitle_;
    Signal<> itemsChanged_;
    Signal<> textChanged_;
    Subscription storeChanged_;
};

}  // namespace tolvik
