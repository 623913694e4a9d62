#include "app/shell/menu_model.h"

#include <utility>

namespace tolvik {

MenuModel::MenuModel(AppStore& store, Actions actions) : store_(store), actions_(std::move(actions)) {
    rebuild();
    storeChanged_ = store_.onChanged([this] { rebuild(); });
}

void MenuModel::rebuild() {
    const TaskModel* running = store_.activeTask();
    if (auto items = menuItems(store_.tasks(), running); items != items_) {
        items_ = std::move(items);
        itemsChanged_.emit();
    }
    runningTitle_ = running != nullptr ? running->title : std::string();
    if (auto text = menuText(runningTitle_); text != text_) {
        text_ = std::move(text);
        textChanged_.emit();
    }
}

void MenuModel::press(const MenuItem& item) {
    // Copies, because the change of the store replaces the items and the tasks.
    const TaskModel* active = store_.activeTask();
    const std::optional<Identifier> running = active != nullptr ? std::optional(active->id) : std::nullopt;
    const std::optional<Identifier> chosen = item.taskId;
    switch (item.kind) {
        case MenuItem::Kind::stop:
            if (running) {
                static_cast<void>(store_.stopTask(*running));
            }
            break;
        case MenuItem::Kind::markDone:
            if (running) {
                static_cast<void>(store_.markDone(*running));
            }
            break;
        case MenuItem::Kind::task:
            if (chosen) {
                static_cast<void>(store_.switchToTask(*chosen));
            }
            break;
        case MenuItem::Kind::open:
            actions_.open();
            break;
        case MenuItem::Kind::checkForUpdates:
            actions_.checkForUpdates();
            break;
        case MenuItem::Kind::quit:
            actions_.quit();
            break;
        case MenuItem::Kind::label:
        case MenuItem::Kind::separator:
        case MenuItem::Kind::switchTo:
            break;
    }
}

}  // namespace tolvik
