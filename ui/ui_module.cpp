#include "ui/ui_module.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QUrl>
#include <QVariant>
#include <memory>

#include "app/models/looks_model.h"

// Made by the build for each QML module; naming them here keeps the linker from dropping them.
void qml_register_types_Tolvik_Models();
void qml_register_types_Tolvik_Ui();

// Outside of the namespace, as the macro asks.
static void initResources() {
    Q_INIT_RESOURCE(qmlcache_tolvik_ui);
    Q_INIT_RESOURCE(tolvik_icons);
}

namespace tolvik {

void setUpUi(QQmlEngine& engine, LooksModel& looks) {
    qml_register_types_Tolvik_Models();
    qml_register_types_Tolvik_Ui();
    initResources();
    engine.setImportPathList(engine.importPathList() << QStringLiteral(":/qt/qml"));

    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(14);
    QGuiApplication::setFont(font);

    // A singleton that is written in QML is known only once something has imported its module.
    QQmlComponent finder(&engine);
    finder.setData("import QtQml; import Tolvik.Ui; QtObject { property QtObject theme: Theme }", QUrl());
    const std::unique_ptr<QObject> found(finder.create());
    auto* theme = found ? found->property("theme").value<QObject*>() : nullptr;
    if (theme == nullptr) {
        qFatal("The theme could not be loaded: %s", qPrintable(finder.errorString()));
    }
    const auto apply = [theme, &looks] {
        theme->setProperty("dark", looks.dark());
        theme->setProperty("highContrast", looks.highContrast());
        theme->setProperty("reducedMotion", looks.reducedMotion());
    };
    QObject::connect(&looks, &LooksModel::changed, theme, apply);
    apply();
}

}  // namespace tolvik
