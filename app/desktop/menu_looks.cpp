#include "app/desktop/menu_looks.h"

#include <QJSValue>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QStringList>
#include <QVariant>
#include <memory>
#include <spdlog/spdlog.h>
#include <utility>

namespace tolvik {

namespace {

constexpr auto sheet = R"(
QMenu { background: %1; color: %2; border: 1px solid %3; padding: 6px; font-family: Inter; font-size: 13px; }
QMenu::item { padding: 8px 28px 8px 12px; border-radius: 6px; margin: 0; }
QMenu::item:selected { background: %4; color: %5; }
QMenu::item:disabled { color: %6; background: transparent; }
QMenu::separator { height: 1px; background: %3; margin: 6px 12px; }
QMenu::icon { padding-left: 12px; }
)";

}  // namespace

TrayItem::Looks menuLooks(QQmlEngine& engine) {
    // A singleton that is written in QML is reached by QML only.
    QQmlComponent finder(&engine);
    finder.setData("import QtQml; import Tolvik.Ui; QtObject { property QtObject theme: Theme }", QUrl());
    const std::unique_ptr<QObject> found(finder.isReady() ? finder.create() : nullptr);
    const auto* theme = found ? found->property("theme").value<QObject*>() : nullptr;
    if (theme == nullptr) {
        return {[](std::int64_t) { return QColor(Qt::gray); }, {}};
    }
    const auto color = [theme](const char* token) {
        const QVariant value = theme->property(token);
        if (!value.isValid()) {
            spdlog::error("the theme has no colour named {}", token);
        }
        return value.value<QColor>().name();
    };
    QVariant list = theme->property("taskColors");
    const QStringList taskColors =
        (list.canConvert<QJSValue>() ? list.value<QJSValue>().toVariant() : std::move(list)).toStringList();
    TrayItem::Looks looks;
    looks.taskColor = [taskColors](std::int64_t index) {
        return taskColors.isEmpty() || index < 0 ? QColor(Qt::gray)
                                                 : QColor(taskColors[static_cast<int>(index % taskColors.size())]);
    };
    looks.styleSheet = QString(sheet).arg(color("raised"), color("t1"), color("line"), color("accent"),
                                          color("accentInk"), color("t3"));
    return looks;
}

}  // namespace tolvik
