#pragma once

#include <QColor>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>
#include <functional>
#include <memory>

#include "app/shell/menu_model.h"

class QDBusServiceWatcher;

namespace tolvik {

/// Shows the menu as a StatusNotifierItem or, where only the older kind of tray runs, as a tray icon. Waits for a tray
/// that comes up later; without one it costs nothing. Main loop only.
class TrayItem final : public QObject {
public:
    struct Looks {
        /// The colour of a task in menus, by palette index.
        std::function<QColor(std::int64_t colorIndex)> taskColor;
        /// Style sheet for menus that this process draws itself; desktops with their own menus do not see it.
        QString styleSheet;
    };
    TrayItem(MenuModel& menu, Looks looks);
    ~TrayItem() override;

    /// Whether the user wants the item.
    void setWanted(bool wanted);
    /// The colours changed.
    void setLooks(Looks looks);
    /// Whether a tray holds the item at present.
    [[nodiscard]] bool isShown() const;

private:
    void lookForHost();
    void show();
    void rebuild();
    void addItems(QMenu& menu, const std::vector<MenuItem>& items);
    void updateText();
    [[nodiscard]] QIcon swatch(std::int64_t colorIndex) const;

    MenuModel& model_;
    Looks looks_;
    bool wanted_ = false;
    bool rebuildQueued_ = false;
    int looksForHost_ = 0;
    std::unique_ptr<QMenu> menu_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    std::unique_ptr<QDBusServiceWatcher> watcher_;
    QTimer again_;
    Subscription itemsChanged_;
    Subscription textChanged_;
};

/// The application's symbol for panels: light with a dark rim, readable on either kind of panel.
[[nodiscard]] QIcon symbolicIcon();

}  // namespace tolvik
