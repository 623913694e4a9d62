#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/identifier.h"
#include "core/records.h"

namespace tolvik {

/// Tasks that "Switch to" offers at most.
inline constexpr std::size_t maxMenuCandidates = 8;
/// Characters of the text beside the symbol at most, the ellipsis counted.
inline constexpr std::size_t maxMenuTextLength = 28;

/// One line of the menu.
struct MenuItem {
    enum class Kind : std::uint8_t {
        label,  ///< text only, disabled
        separator,
        stop,
        markDone,
        switchTo,  ///< carries `children`
        task,      ///< switches to `taskId`
        open,
        checkForUpdates,
        quit,
    };
    Kind kind = Kind::label;
    std::string title;
    /// As Qt and D-Bus menus spell it, for example "Ctrl+Shift+S"; empty for none.
    std::string keys;
    std::optional<Identifier> taskId;
    /// Index into the task palette, of `task` items.
    std::int64_t colorIndex = 0;
    std::vector<MenuItem> children;

    [[nodiscard]] bool isEnabled() const { return kind != Kind::label && kind != Kind::separator; }
    bool operator==(const MenuItem&) const = default;
};

/// The items that the menu has for these tasks, of which `running` (if any) is the running one.
[[nodiscard]] std::vector<MenuItem> menuItems(const std::vector<TaskModel>& tasks, const TaskModel* running);

/// The text beside the symbol for a task's title.
[[nodiscard]] std::string menuText(const std::string& title);

}  // namespace tolvik
