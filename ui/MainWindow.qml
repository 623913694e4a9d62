import QtQuick
import QtQuick.Window
import Tolvik.Models

// The main window.
Window {
    id: root

    required property WindowModel app
    property string page: "home"
    readonly property bool rail: width < 960
    readonly property bool welcoming: app.onboarding !== null && app.onboarding.active

    // Asked of the application when the window is closed by the user.
    signal closeWanted

    function showPage(name: string): void {
        page = name;
    }
    function ask(question: string, note: string, actionText: string, dangerous: bool, action: var): void {
        sheet.active = true;
        (sheet.item as Sheet).explain(question, note, actionText, dangerous, action);
    }

    function showBytes(heading: string, note: string, text: string): void {
        bytes.active = true;
        const panel = bytes.item as BytesSheet;
        panel.heading = heading;
        panel.note = note;
        panel.bytes = text;
        panel.open();
    }
    function showCrash(): void {
        showBytes(qsTr("What is known of the crash"), app.privacy.shares ? qsTr("It is sent with the usage that you share.") : qsTr("It stays on this device. It would be sent only if you shared how Tolvik is used."), app.privacy.crashFields);
    }

    onPageChanged: app.pageShown(page)
    onWelcomingChanged: if (!welcoming) {
        page = "home";
        home.forceActiveFocus();
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
        property bool available: true

        context: Qt.WindowShortcut
        enabled: available && !root.welcoming
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
        available: root.app.reports !== null
        sequence: "Ctrl+2"
        onActivated: root.page = "reports"
    }
    Key {
        available: root.page === "reports" && reportsPage.item !== null
        sequence: "Ctrl+E"
        onActivated: (reportsPage.item as ReportsPage).openExport()
    }
    Key {
        available: root.page === "reports" && reportsPage.item !== null
        sequence: "Ctrl+F"
        onActivated: (reportsPage.item as ReportsPage).openFilter()
    }
    Key {
        available: root.app.projects !== null
        sequence: "Ctrl+3"
        onActivated: root.page = "projects"
    }
    Key {
        available: root.app.dictionary !== null
        sequence: "Ctrl+4"
        onActivated: root.page = "dictionary"
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
        available: root.page === "home"
        onActivated: home.openCalendar()
    }
    Key {
        sequence: "Ctrl+F"
        available: root.page === "home"
        onActivated: home.focusFilter()
    }
    Key {
        available: root.page === "dictionary" && dictionaryPage.item !== null
        sequence: "Ctrl+F"
        onActivated: (dictionaryPage.item as DictionaryPage).focusSearch()
    }
    Key {
        sequence: "Ctrl+Z"
        onActivated: {
            if (root.app.toast.offersUndo)
                root.app.toast.undo();
            else
                root.app.home.undo();
        }
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
        // A field that is typed into has Esc for itself first.
        available: root.page !== "home" && !root.app.settings.chord.recording && !(root.activeFocusItem as Field) && !(root.activeFocusItem as CodeField)
        sequence: "Esc"
        onActivated: root.page = "home"
    }

    Sidebar {
        id: sidebar

        height: parent.height
        app: root.app
        page: root.page
        rail: root.rail
        visible: root.page !== "sign-in" && !root.welcoming
        width: visible ? implicitWidth : 0
        onChosen: page => root.page = page
    }
    Loader {
        id: crash

        active: !root.welcoming && root.app.privacy !== null && root.app.privacy.crashNotice.length > 0
        anchors.left: sidebar.right
        anchors.right: parent.right
        anchors.margins: active ? 12 : 0
        y: active ? 12 : 0
        height: active && item ? (item as CrashNotice).implicitHeight : 0
        sourceComponent: CrashNotice {
            privacy: root.app.privacy
            onDetailsWanted: root.showCrash()
        }
    }
    Item {
        anchors.left: sidebar.right
        anchors.right: parent.right
        y: crash.y + crash.height
        height: parent.height - y
        visible: !root.welcoming
        Keys.onEscapePressed: if (root.page !== "home")
            root.page = "home"

        HomePage {
            id: home

            anchors.fill: parent
            app: root.app
            compact: root.rail
            focus: visible
            visible: root.page === "home"
            onDeleteWanted: (taskId, title) => {
                root.ask(root.app.home.deleteQuestion(title), "", qsTr("Delete"), true, () => root.app.home.remove(taskId));
            }
        }
        Loader {
            active: root.page === "settings"
            anchors.fill: parent
            focus: active
            sourceComponent: SettingsPage {
                app: root.app
                compact: root.rail
                onBytesWanted: root.showBytes(qsTr("What is sent next"), qsTr("Byte for byte, while you are signed in."), root.app.privacy.bytes)
                onCrashWanted: root.showCrash()
                onImportWanted: (path, note) => root.ask(qsTr("Import this file?"), note, qsTr("Import"), false, () => root.app.data.importFrom(path))
            }
        }
        Loader {
            id: reportsPage

            active: root.page === "reports"
            anchors.fill: parent
            focus: active
            sourceComponent: ReportsPage {
                app: root.app
                compact: root.rail
                focus: true
            }
        }
        Loader {
            active: root.page === "projects"
            anchors.fill: parent
            focus: active
            sourceComponent: ProjectsPage {
                app: root.app
                compact: root.rail
                focus: true
                onDeleteWanted: root.ask(root.app.projects.deleteQuestion(), "", qsTr("Delete"), true, () => root.app.projects.remove())
                onDictionaryWanted: projectId => {
                    root.app.dictionary.targetId = projectId;
                    root.page = "dictionary";
                }
            }
        }
        Loader {
            id: dictionaryPage

            active: root.page === "dictionary"
            anchors.fill: parent
            focus: active
            sourceComponent: DictionaryPage {
                app: root.app
                compact: root.rail
                focus: true
            }
        }
        Loader {
            active: root.page === "account"
            anchors.fill: parent
            focus: active
            sourceComponent: AccountPage {
                app: root.app
                compact: root.rail
                focus: true
                onDeleteWanted: root.ask(qsTr("Delete account?"), root.app.account.deleteText + "\n" + root.app.account.deleteWarning, qsTr("Delete account"), true, () => root.app.account.deleteAccount())
                onSignInWanted: root.page = "sign-in"
                onSignOutWanted: root.ask(qsTr("Sign out?"), root.app.account.signOutText(), qsTr("Sign out"), false, () => root.app.account.signOut())
            }
        }
        Loader {
            active: root.page === "sign-in"
            anchors.fill: parent
            focus: active
            sourceComponent: SignInPage {
                app: root.app
                focus: true
                onLeaving: root.page = "account"
            }
        }
        Toast {
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 24
            anchors.horizontalCenter: parent.horizontalCenter
            lifeMs: root.app.toast.lifeMs
            offersUndo: root.app.toast.offersUndo
            text: root.app.toast.text
            onDismissed: root.app.toast.dismiss()
            onUndo: root.app.toast.undo()
        }
        Toast {
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 24
            anchors.horizontalCenter: parent.horizontalCenter
            offersUndo: root.app.home.toastOffersUndo
            text: root.app.toast.text.length > 0 ? "" : root.app.home.toastText
            onDismissed: root.app.home.dismissToast()
            onUndo: root.app.home.undo()
        }
    }
    Loader {
        active: root.welcoming
        anchors.fill: parent
        focus: active
        sourceComponent: Onboarding {
            app: root.app
            focus: true
        }
        onLoaded: (item as Onboarding).forceActiveFocus()
    }
    Loader {
        id: sheet

        active: false
        sourceComponent: Sheet {
        }
    }
    Loader {
        id: bytes

        active: false
        sourceComponent: BytesSheet {
        }
    }
    Loader {
        id: help

        active: false
        sourceComponent: KeysHelp {
        }
    }
}
