#include "adapters/desktop/tray_item.h"

#include <QAction>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QFile>
#include <QGuiApplication>
#include <QKeySequence>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <utility>

#include "adapters/desktop/x11_selection.h"
#include "base/text.h"

namespace tolvik {

namespace {

constexpr auto watcherService = "org.kde.StatusNotifierWatcher";
// At login the panel may come up after us; older trays do not announce themselves on the bus.
constexpr int lookAgainMs = 3'000;
constexpr int looksAtMost = 40;
constexpr int hostAnswerMs = 200;
constexpr std::size_t longestItem = 60;

QString label(const std::string& title) {
    const std::string cut =
        graphemeCount(title) <= longestItem ? title : trimmed(firstGraphemes(title, longestItem - 1)) + "…";
    return QString::fromStdString(cut).replace('&', "&&");
}

/// Whether a panel shows StatusNotifierItems. The watcher alone is not enough: its hosts come later.
bool hasHost() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.interface() == nullptr || !bus.interface()->isServiceRegistered(watcherService)) {
        return false;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(watcherService, "/StatusNotifierWatcher",
                                                       "org.freedesktop.DBus.Properties", "Get");
    call << QString(watcherService) << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusReply<QDBusVariant> reply = bus.call(call, QDBus::Block, hostAnswerMs);
    return reply.isValid() && reply.value().variant().toBool();
}

/// Whether a tray of the XEmbed kind runs on the display.
bool hasOlderTray() {
    xcb_connection_t* const x11 = applicationsX11();
    return x11 != nullptr && isSelectionOwned(x11, atomNamed(x11, "_NET_SYSTEM_TRAY_S0"));
}

QPixmap drawn(const QByteArray& svg, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    QSvgRenderer(svg).render(&painter);
    return pixmap;
}

}  // namespace

QIcon symbolicIcon() {
    QFile file(":/tolvik/tolvik-tray.svg");
    QIcon own;
    if (file.open(QIODevice::ReadOnly)) {
        const QByteArray svg = file.readAll();
        for (const int size : {16, 22, 24, 32, 48, 64}) {
            own.addPixmap(drawn(svg, size));
        }
    }
    // An installed theme icon is recoloured by the panel.
    return QIcon::fromTheme("tolvik-symbolic", own);
}

TrayItem::TrayItem(MenuModel& menu, Looks looks) : model_(menu), looks_(std::move(looks)) {
    itemsChanged_ = model_.onItemsChanged([this] {
        // An action of this very menu may be running.
        if (!std::exchange(rebuildQueued_, true)) {
            QTimer::singleShot(0, this, [this] {
                rebuildQueued_ = false;
                rebuild();
            });
        }
    });
    textChanged_ = model_.onTextChanged([this] { updateText(); });
    again_.setSingleShot(true);
    connect(&again_, &QTimer::timeout, this, [this] { lookForHost(); });
}

TrayItem::~TrayItem() = default;

void TrayItem::setWanted(bool wanted) {
    if (wanted == std::exchange(wanted_, wanted)) {
        return;
    }
    if (!wanted) {
        again_.stop();
        watcher_.reset();
        icon_.reset();
        menu_.reset();
        return;
    }
    looksForHost_ = 0;
    watcher_ = std::make_unique<QDBusServiceWatcher>(watcherService, QDBusConnection::sessionBus(),
                                                     QDBusServiceWatcher::WatchForRegistration);
    connect(watcher_.get(), &QDBusServiceWatcher::serviceRegistered, this, [this] {
        looksForHost_ = 0;
        lookForHost();
    });
    lookForHost();
}

void TrayItem::setLooks(Looks looks) {
    looks_ = std::move(looks);
    rebuild();
}

bool TrayItem::isShown() const {
    return icon_ && icon_->isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
}

void TrayItem::lookForHost() {
    if (!wanted_ || icon_) {
        return;
    }
    // Qt settles on one kind of tray when it is first asked, so it is asked only once there is one.
    if (hasHost() || QGuiApplication::platformName() != "xcb" || hasOlderTray()) {
        show();
    } else if (++looksForHost_ < looksAtMost) {
        again_.start(lookAgainMs);
    }
}

void TrayItem::show() {
    menu_ = std::make_unique<QMenu>();
    icon_ = std::make_unique<QSystemTrayIcon>(symbolicIcon());
    icon_->setContextMenu(menu_.get());
    connect(icon_.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
            MenuItem open;
            open.kind = MenuItem::Kind::open;
            model_.press(open);
        }
    });
    rebuild();
    updateText();
    icon_->show();
}

void TrayItem::rebuild() {
    if (!menu_) {
        return;
    }
    menu_->clear();
    menu_->setStyleSheet(looks_.styleSheet);
    addItems(*menu_, model_.items());
}

void TrayItem::addItems(QMenu& menu, const std::vector<MenuItem>& items) {
    for (const MenuItem& item : items) {
        if (item.kind == MenuItem::Kind::separator) {
            menu.addSeparator();
            continue;
        }
        if (item.kind == MenuItem::Kind::switchTo) {
            QMenu* submenu = menu.addMenu(label(item.title));
            submenu->setStyleSheet(looks_.styleSheet);
            addItems(*submenu, item.children);
            continue;
        }
        QAction* action = menu.addAction(label(item.title));
        action->setEnabled(item.isEnabled());
        if (!item.keys.empty()) {
            action->setShortcut(QKeySequence(QString::fromStdString(item.keys)));
        }
        if (item.kind == MenuItem::Kind::task) {
            action->setIcon(swatch(item.colorIndex));
            action->setIconVisibleInMenu(true);
        }
        connect(action, &QAction::triggered, this, [this, item] { model_.press(item); });
    }
}

void TrayItem::updateText() {
    if (icon_) {
        icon_->setToolTip(model_.text().empty() ? QStringLiteral("Tolvik: nothing running")
                                                : QString::fromStdString(model_.text()));
    }
}

QIcon TrayItem::swatch(std::int64_t colorIndex) const {
    constexpr int size = 16;
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(looks_.taskColor(colorIndex));
    painter.drawEllipse(QRectF(3, 3, 10, 10));
    return pixmap;
}

}  // namespace tolvik
