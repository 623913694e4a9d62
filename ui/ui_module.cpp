#include "ui/ui_module.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlEngine>
#include <QtQml>

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
    engine.addImportPath(QStringLiteral(":/qt/qml"));

    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(14);
    QGuiApplication::setFont(font);

    auto* theme = engine.singletonInstance<QObject*>(qmlTypeId("Tolvik.Ui", 1, 0, "Theme"));
    if (theme == nullptr) {
        qFatal("The theme could not be loaded");
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
