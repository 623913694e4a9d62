import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// General, voice, tray, appearance and data.
FocusScope {
    id: root

    objectName: "settingsPage"

    required property WindowModel app
    property bool compact: false
    property int tab: 1
    readonly property SettingsModel settings: app.settings
    readonly property int margin: compact ? 20 : 32

    // Shows the next uploads, or what is known of a crash.
    signal bytesWanted
    signal crashWanted
    // A file was chosen whose import would replace what is here.
    signal importWanted(string path, string note)

    function refresh(): void {
        settings.refresh();
        if (app.privacy !== null)
            app.privacy.refresh();
    }

    onVisibleChanged: if (visible)
        refresh()
    Component.onCompleted: refresh()
    Connections {
        target: root.app.data

        function onConfirmWanted(path: string, note: string): void {
            root.importWanted(path, note);
        }
    }
    Component.onDestruction: settings.metering = false

    // The level is only measured while it is looked at.
    Binding {
        target: root.settings
        property: "metering"
        value: root.visible && root.tab === 1 && root.Window.active && root.settings.voiceEnabled && !root.settings.chord.recording && root.app.pill.phase === "idle"
        restoreMode: Binding.RestoreNone
    }

    Flickable {
        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: content.height + 40
        contentWidth: width

        T.ScrollBar.vertical: ScrollBar {
        }

        Item {
            id: content

            readonly property int column: Math.min(1180, root.width - 2 * root.margin)

            x: Math.round((root.width - column) / 2)
            width: column
            height: page.y + page.height

            Label {
                y: 28
                font.weight: Font.DemiBold
                font.letterSpacing: -0.3
                size: Theme.pageTitle
                text: qsTr("Settings")
                Accessible.ignored: false
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Row {
                id: tabs

                y: 70
                height: 40
                spacing: 22
                Accessible.role: Accessible.PageTabList
                Accessible.name: qsTr("Settings")

                function go(index: int): void {
                    root.tab = index;
                    tabList.itemAt(index).forceActiveFocus(Qt.TabFocusReason);
                }

                Repeater {
                    id: tabList

                    model: [qsTr("General"), qsTr("Voice"), qsTr("Tray"), qsTr("Appearance"), qsTr("Data")]

                    delegate: T.AbstractButton {
                        id: tabButton

                        required property int index
                        required property string modelData
                        readonly property bool current: root.tab === index

                        // As wide as the chosen one, so that choosing moves no other.
                        implicitWidth: Math.max(32, Math.ceil(widest.advanceWidth))
                        implicitHeight: 40
                        hoverEnabled: true
                        // One stop for Tab; the arrows walk along.
                        focusPolicy: current ? Qt.TabFocus : Qt.NoFocus
                        text: modelData
                        Accessible.role: Accessible.PageTab
                        Accessible.name: text
                        Accessible.selected: current
                        Accessible.onPressAction: clicked()
                        Keys.onReturnPressed: clicked()
                        Keys.onRightPressed: tabs.go(Math.min(tabList.count - 1, root.tab + 1))
                        Keys.onLeftPressed: tabs.go(Math.max(0, root.tab - 1))
                        onClicked: root.tab = index

                        TextMetrics {
                            id: widest

                            font.family: Theme.family
                            font.pixelSize: Theme.body
                            font.weight: Font.DemiBold
                            text: tabButton.text
                        }

                        background: Item {
                            Rectangle {
                                y: 39
                                width: parent.width
                                height: 2
                                radius: 1
                                color: Theme.accent
                                visible: tabButton.current
                            }
                            FocusRing {
                                anchors.topMargin: 4
                                anchors.bottomMargin: 4
                                around: 4
                                visible: tabButton.visualFocus
                            }
                        }
                        contentItem: Label {
                            color: tabButton.current || tabButton.hovered ? Theme.t1 : Theme.t2
                            font.weight: tabButton.current ? Font.DemiBold : Font.Normal
                            text: tabButton.text
                        }
                    }
                }
            }
            Rectangle {
                y: 110
                width: parent.width
                height: 1
                color: Theme.line
            }
            Column {
                id: page

                y: 129
                width: Math.min(680, parent.width)
                spacing: 22

                Banner {
                    width: parent.width
                    text: root.settings.problem
                    visible: text.length > 0
                }
                Loader {
                    width: parent.width
                    sourceComponent: [general, voice, tray, appearance, data][root.tab]
                }
            }
        }
    }

    Component {
        id: general

        Column {
            spacing: 22

            SettingsGroup {
                SettingsRow {
                    text: qsTr("Tolvik is there when you log in, ready to listen.")
                    title: qsTr("Start at login")
                    visible: root.settings.canStartAtLogin

                    Toggle {
                        name: qsTr("Start at login")
                        on: root.settings.startsAtLogin
                        onWanted: on => root.settings.startsAtLogin = on
                    }
                }
                SettingsRow {
                    ruled: root.settings.canStartAtLogin
                    text: root.settings.updateText
                    title: qsTr("Version %1").arg(root.settings.version)

                    PushButton {
                        enabled: !root.settings.checkingForUpdates
                        implicitHeight: 32
                        text: root.settings.checkingForUpdates ? qsTr("Checking…") : qsTr("Check for Updates…")
                        visible: root.settings.canCheckForUpdates
                        onClicked: root.settings.checkForUpdates()
                    }
                }
                SettingsRow {
                    ruled: true
                    text: qsTr("From the welcome to the first spoken command. Your log stays as it is.")
                    title: qsTr("First steps")
                    visible: root.app.onboarding !== null

                    PushButton {
                        iconName: "arrow-counterclockwise"
                        implicitHeight: 32
                        text: qsTr("Show again")
                        Accessible.name: qsTr("Show the first steps again")
                        onClicked: root.app.onboarding.reset()
                    }
                }
            }
        }
    }
    Component {
        id: voice

        Column {
            spacing: 22

            SettingsGroup {
                SettingsRow {
                    text: qsTr("Hold the chord anywhere, speak, let go.")
                    title: qsTr("Voice control")

                    Toggle {
                        name: qsTr("Voice control")
                        on: root.settings.voiceEnabled
                        onWanted: on => root.settings.voiceEnabled = on
                    }
                }
            }
            ChordCard {
                chord: root.settings.chord
            }
            SettingsGroup {
                title: qsTr("Microphone")

                SettingsRow {
                    problem: root.settings.microphoneProblem
                    title: qsTr("Input")

                    LevelMeter {
                        anchors.verticalCenter: parent.verticalCenter
                        level: root.settings.level
                        visible: root.settings.microphoneProblem.length === 0
                    }
                    ChoiceMenu {
                        choices: root.settings.microphones
                        chosenId: root.settings.microphoneId
                        name: qsTr("Microphone")
                        text: root.settings.microphoneName
                        onPicked: id => root.settings.microphoneId = id
                    }
                }
                SettingsRow {
                    ruled: true
                    text: qsTr("Playback goes on when the result has been shown.")
                    title: qsTr("Pause Spotify or Music while recording")

                    Toggle {
                        name: qsTr("Pause Spotify or Music while recording")
                        on: root.settings.pauseMedia
                        onWanted: on => root.settings.pauseMedia = on
                    }
                }
            }
            SettingsGroup {
                title: qsTr("Recognition")

                SettingsRow {
                    iconColor: root.settings.engineReady ? Theme.accent : Theme.t3
                    iconName: "shield-lock-fill"
                    problem: root.settings.engineReady ? "" : root.settings.engineProblem
                    text: qsTr("Speech stays here. Works with no account and no network.")
                    title: qsTr("On this device")

                    Row {
                        anchors.verticalCenter: parent.verticalCenter
                        spacing: 7
                        visible: root.settings.engineReady

                        Icon {
                            anchors.verticalCenter: parent.verticalCenter
                            color: Theme.accent
                            name: "check2"
                        }
                        Label {
                            color: Theme.accent
                            font.weight: Font.Medium
                            size: Theme.secondary
                            text: qsTr("Ready")
                            Accessible.ignored: false
                            Accessible.role: Accessible.StaticText
                            Accessible.name: qsTr("Recognition is ready")
                        }
                    }
                }
                SettingsRow {
                    ruled: true
                    text: qsTr("A folder with another model that the engine can run.")
                    title: qsTr("Speech model")

                    Field {
                        width: 240
                        implicitHeight: 32
                        name: qsTr("Folder of the speech model")
                        placeholderText: qsTr("Built in")
                        text: root.settings.modelFolder
                        onEditingFinished: root.settings.modelFolder = text
                    }
                }
                SettingsRow {
                    problem: root.settings.chordProblem.length > 0 ? qsTr("Not granted. The hotkey won't work.") + " " + root.settings.chordProblem : ""
                    ruled: true
                    text: qsTr("The chord is seen in every window. Only the modifier keys are read.")
                    title: qsTr("Accessibility")

                    PushButton {
                        implicitHeight: 32
                        text: qsTr("Open system settings")
                        onClicked: root.settings.openSystemSettings()
                    }
                }
            }
        }
    }
    Component {
        id: tray

        SettingsGroup {
            SettingsRow {
                text: qsTr("Shows the running task and offers stop, done and switch.")
                title: qsTr("Show Tolvik in the menu bar")

                Toggle {
                    name: qsTr("Show Tolvik in the menu bar")
                    on: root.settings.menuBarEnabled
                    onWanted: on => root.settings.menuBarEnabled = on
                }
            }
        }
    }
    Component {
        id: appearance

        SettingsGroup {
            SettingsRow {
                text: qsTr("Light, dark, or as the desktop has it.")
                title: qsTr("Theme")

                ChoiceMenu {
                    choices: [{
                            "id": "system",
                            "name": qsTr("As the system")
                        }, {
                            "id": "light",
                            "name": qsTr("Light")
                        }, {
                            "id": "dark",
                            "name": qsTr("Dark")
                        }]
                    chosenId: root.app.looks.theme
                    name: qsTr("Theme")
                    text: (choices.find(choice => choice.id === chosenId) ?? choices[0]).name
                    onPicked: id => root.app.looks.theme = id
                }
            }
            SettingsRow {
                ruled: true
                text: qsTr("Black and white with strong outlines.")
                title: qsTr("High contrast")

                Toggle {
                    name: qsTr("High contrast")
                    on: root.app.looks.highContrast
                    onWanted: on => root.app.looks.wantsContrast = on
                }
            }
            SettingsRow {
                ruled: true
                text: qsTr("Nothing slides; the wave becomes a single bar.")
                title: qsTr("Reduce motion")

                Toggle {
                    name: qsTr("Reduce motion")
                    on: root.app.looks.reducedMotion
                    onWanted: on => root.app.looks.wantsStillness = on
                }
            }
        }
    }
    Component {
        id: data

        Column {
            id: dataPage

            readonly property DataModel all: root.app.data
            readonly property PrivacyModel privacy: root.app.privacy

            spacing: 22

            SettingsGroup {
                SettingsRow {
                    text: root.settings.dataFolder
                    title: qsTr("Your log lies on this device")

                    PushButton {
                        iconName: "folder2-open"
                        implicitHeight: 32
                        text: qsTr("Open folder")
                        onClicked: root.settings.openDataFolder()
                    }
                }
                SettingsRow {
                    problem: dataPage.all ? dataPage.all.problem : ""
                    ruled: true
                    text: qsTr("Tasks, entries, projects and vocabulary, as JSON. The same file imports on another machine.")
                    title: qsTr("Everything in one file")
                    visible: dataPage.all !== null

                    PushButton {
                        enabled: dataPage.all !== null && !dataPage.all.busy
                        iconName: "clipboard-plus"
                        implicitHeight: 32
                        text: qsTr("Import…")
                        Accessible.name: qsTr("Import everything from a file")
                        onClicked: dataPage.all.chooseImport()
                    }
                    PushButton {
                        enabled: dataPage.all !== null && !dataPage.all.busy
                        iconName: "download"
                        implicitHeight: 32
                        text: qsTr("Export…")
                        Accessible.name: qsTr("Export everything to a file")
                        onClicked: dataPage.all.exportAll()
                    }
                }
            }
            SettingsGroup {
                title: qsTr("Usage")
                visible: dataPage.privacy !== null

                SettingsRow {
                    problem: dataPage.privacy ? dataPage.privacy.problem : ""
                    text: qsTr("Pages, results, and the sentences you speak, once you are signed in. Off, nothing is recorded, and what was is deleted.")
                    title: qsTr("Share how Tolvik is used")

                    Toggle {
                        name: qsTr("Share how Tolvik is used")
                        on: dataPage.privacy !== null && dataPage.privacy.shares
                        onWanted: on => dataPage.privacy.answer(on)
                    }
                }
                SettingsRow {
                    ruled: true
                    text: !dataPage.privacy || !dataPage.privacy.shares ? qsTr("Nothing: usage is not shared.") : dataPage.privacy.bytes.length === 0 ? qsTr("Nothing waits.") : qsTr("%1 characters wait.").arg(dataPage.privacy.bytes.length)
                    title: qsTr("What is sent next")

                    PushButton {
                        enabled: dataPage.privacy !== null && dataPage.privacy.shares
                        implicitHeight: 32
                        text: qsTr("Show the bytes")
                        Accessible.name: qsTr("Show the bytes that are sent next")
                        onClicked: {
                            dataPage.privacy.refresh();
                            root.bytesWanted();
                        }
                    }
                }
                SettingsRow {
                    ruled: true
                    text: qsTr("Version, times, signal, and the names of the last steps.")
                    title: qsTr("The last crash")
                    visible: dataPage.privacy !== null && dataPage.privacy.crashFields.length > 0

                    PushButton {
                        implicitHeight: 32
                        text: qsTr("Show")
                        Accessible.name: qsTr("Show what is known of the last crash")
                        onClicked: root.crashWanted()
                    }
                }
            }
        }
    }
}
