#pragma once

class QQmlApplicationEngine;
class QQmlEngine;

namespace tolvik {

class LooksModel;
class WindowModel;

/// Makes the QML modules known to the engine and hands the looks to the theme, which follows them. To be called once
/// for an engine, before anything is loaded; `looks` outlives the engine.
void setUpUi(QQmlEngine& engine, LooksModel& looks);

/// The address of the main window's QML; its required property is `app`, a WindowModel.
inline constexpr const char* mainWindowUrl = "qrc:/qt/qml/Tolvik/Ui/MainWindow.qml";
/// The address of the pill's content; its required property is `pill`, a PillModel.
inline constexpr const char* pillUrl = "qrc:/qt/qml/Tolvik/Ui/VoicePill.qml";

}  // namespace tolvik
