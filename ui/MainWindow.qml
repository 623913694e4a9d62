import QtQuick
import QtQuick.Window
import Tolvik.Models

// The main window.
Window {
    id: root

    required property WindowModel app
    property string page: "home"
    readonly property bool rail: width < 960

    // Asked of the application when the window is closed by the user.
    signal closeWanted

    function showPage(name: string): void {
        page = name;
    }

    width: 1200
    height: 800
    minimumWidth: 720
    minimumHeight: 520
    color: Theme.page
    title: app.home.running ? qsTr("%1 – Tolvik").arg(app.home.runningTitle) : "Tolvik"

    Binding {
        target: Theme
        property: "pixelRatio"
        value: root.Screen.devicePixelRatio
    }
    Binding {
        target: root.app.home
        property: "live"
        value: root.visible && root.visibility !== Window.Minimized
    }
    Connections {
        target: root.app

        function onPageWanted(page: string): void {
            root.page = page;
        }
        function onInputFocusWanted(): void {
            root.page = "home";
            home.focusInput();
        }
    }

    component Key: Shortcut {
        context: Qt.WindowShortcut
    }
    Key {
        sequence: "Ctrl+K"
        onActivated: {
            root.page = "home";
            home.focusInput();
        }
    }
    Key {
        sequence: "Ctrl+1"
        onActivated: root.page = "home"
    }
    Key {
        sequence: "Ctrl+,"
        onActivated: root.page = "settings"
    }
    Key {
        sequence: "Alt+Left"
        onActivated: root.app.home.shiftDay(-1)
    }
    Key {
        sequence: "Alt+Right"
        onActivated: root.app.home.shiftDay(1)
    }
    Key {
        sequence: "Alt+Home"
        onActivated: root.app.home.goToToday()
    }
    Key {
        sequence: "Ctrl+G"
        enabled: root.page === "home"
        onActivated: home.openCalendar()
    }
    Key {
        sequence: "Ctrl+F"
        enabled: root.page === "home"
        onActivated: home.focusFilter()
    }
    Key {
        sequence: "Ctrl+Z"
        onActivated: root.app.home.undo()
    }
    Key {
        sequence: "Ctrl+Shift+S"
        onActivated: root.app.home.stop()
    }
    Key {
        sequence: "Ctrl+Shift+D"
        onActivated: root.app.home.markRunningDone()
    }
    Key {
        sequence: "F1"
        onActivated: {
            help.active = true;
            (help.item as KeysHelp).open();
        }
    }
    Key {
        enabled: root.page !== "home" && !root.app.settings.chord.recording
        sequence: "Esc"
        onActivated: root.page = "home"
    }

    Sidebar {
        id: sidebar

        height: parent.height
        app: root.app
        page: root.page
        rail: root.rail
        width: implicitWidth
        onChosen: page => root.page = page
    }
    Item {
        anchors.left: sidebar.right
        anchors.right: parent.right
        height: parent.height

        HomePage {
            id: home

            anchors.fill: parent
            app: root.app
            compact: root.rail
            focus: visible
            visible: root.page === "home"
            onDeleteWanted: (taskId, title) => {
                sheet.active = true;
                (sheet.item as Sheet).ask(root.app.home.deleteQuestion(title), qsTr("Delete"), () => root.app.home.remove(taskId));
            }
        }
        Loader {
            active: root.page === "settings"
            anchors.fill: parent
            focus: active
            sourceComponent: SettingsPage {
                app: root.app
                compact: root.rail
            }
        }
        Toast {
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 24
            anchors.horizontalCenter: parent.horizontalCenter
            offersUndo: root.app.home.toastOffersUndo
            text: root.app.home.toastText
            onDismissed: root.app.home.dismissToast()
            onUndo: root.app.home.undo()
        }
    }
    Loader {
        id: sheet

        active: false
        sourceComponent: Sheet {
        }
    }
    Loader {
        id: help

        active: false
        sourceComponent: KeysHelp {
        }
    }
}
