pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// The pages, the running task while another page is shown, and whose log this is.
Rectangle {
    id: root

    required property WindowModel app
    readonly property AccountModel account: app.account
    property string page: "home"
    property bool rail: false

    signal chosen(string page)

    implicitWidth: rail ? 56 : 200
    color: Theme.side
    Accessible.role: Accessible.Pane
    Accessible.name: qsTr("Side bar")

    component NavButton: T.AbstractButton {
        id: nav

        property string iconName
        property bool current: false

        width: parent ? parent.width : 0
        implicitHeight: 38
        hoverEnabled: true
        focusPolicy: Qt.TabFocus
        Accessible.role: Accessible.PageTab
        Accessible.name: text
        Accessible.selected: current
        Accessible.onPressAction: clicked()
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()

        background: Rectangle {
            radius: 10
            color: nav.current ? Theme.raised : nav.hovered ? Theme.line : "transparent"
            border.width: nav.current ? (Theme.highContrast ? 2 : 1) : 0
            border.color: Theme.line

            FocusRing {
                visible: nav.visualFocus
            }
        }
        contentItem: Item {
            Icon {
                x: root.rail ? (parent.width - width) / 2 : 10
                anchors.verticalCenter: parent.verticalCenter
                color: nav.current ? Theme.accent : Theme.t2
                name: nav.iconName
            }
            Label {
                x: 38
                anchors.verticalCenter: parent.verticalCenter
                color: nav.current ? Theme.t1 : Theme.t2
                font.weight: Font.Medium
                text: nav.text
                visible: !root.rail
            }
        }
        Tip {
            shown: root.rail && nav.hovered
            text: nav.text
        }
    }

    Rectangle {
        anchors.right: parent.right
        width: 1
        height: parent.height
        color: Theme.line
    }

    Mark {
        x: root.rail ? 18 : 23
        y: 23
    }
    Label {
        x: 54
        y: 21
        font.weight: Font.DemiBold
        size: Theme.section
        text: "Tolvik"
        visible: !root.rail
    }

    Column {
        id: pages

        x: root.rail ? 8 : 12
        y: 61
        width: parent.width - 2 * x

        NavButton {
            objectName: "homeButton"
            current: root.page === "home"
            iconName: "house"
            text: qsTr("Home")
            onClicked: root.chosen("home")
        }
        NavButton {
            current: root.page === "reports"
            iconName: "bar-chart"
            text: qsTr("Reports")
            visible: root.app.reports !== null
            onClicked: root.chosen("reports")
        }
        NavButton {
            current: root.page === "projects"
            iconName: "folder2"
            text: qsTr("Projects")
            visible: root.app.projects !== null
            onClicked: root.chosen("projects")
        }
        NavButton {
            current: root.page === "dictionary"
            iconName: "journal-text"
            text: qsTr("Dictionary")
            visible: root.app.dictionary !== null
            onClicked: root.chosen("dictionary")
        }
    }

    Column {
        id: foot

        x: root.rail ? 8 : 12
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 16
        width: parent.width - 2 * x
        spacing: 8

        // How to speak, on Home; what runs, elsewhere.
        Item {
            id: howToSpeak

            // Where held keys cannot be seen, the button in the input bar is the way.
            readonly property bool byKeys: root.app.settings.chordProblem.length === 0

            width: parent.width
            height: 54
            visible: !root.rail && root.page === "home" && root.app.settings.voiceEnabled

            Icon {
                x: 9
                y: 2
                color: Theme.t2
                name: "mic"
            }
            Label {
                x: 32
                width: parent.width - x
                color: Theme.t2
                size: Theme.secondary
                wrapMode: Text.WordWrap
                text: howToSpeak.byKeys ? qsTr("Hold and speak") : qsTr("Click the microphone above and speak")
            }
            KeyCaps {
                x: 10
                y: 28
                visible: howToSpeak.byKeys
                keys: root.app.settings.chord.chordKeys
            }
        }
        T.AbstractButton {
            id: runningCard

            width: parent.width
            implicitHeight: root.rail ? 38 : 60
            hoverEnabled: true
            focusPolicy: Qt.TabFocus
            visible: root.page !== "home" && root.app.home.running
            Accessible.role: Accessible.Button
            Accessible.name: qsTr("Running: %1. Go to Home").arg(root.app.home.runningTitle)
            Accessible.onPressAction: clicked()
            Keys.onReturnPressed: clicked()
            onClicked: root.chosen("home")

            background: Rectangle {
                radius: 10
                color: Theme.raised
                border.color: Theme.line

                FocusRing {
                    visible: runningCard.visualFocus
                }
            }
            contentItem: Item {
                Rectangle {
                    id: halo

                    x: root.rail ? (parent.width - width) / 2 : 8
                    y: root.rail ? (parent.height - height) / 2 : 13
                    width: 13
                    height: 13
                    radius: 6.5
                    color: Theme.accent
                    opacity: 0.25
                }
                Rectangle {
                    anchors.centerIn: halo
                    width: 8
                    height: 8
                    radius: 4
                    color: Theme.accent
                }
                Label {
                    x: 25
                    y: 10
                    color: Theme.t2
                    size: Theme.secondary
                    text: qsTr("Running")
                    visible: !root.rail
                }
                Figures {
                    anchors.right: parent.right
                    anchors.rightMargin: 10
                    y: 10
                    size: Theme.secondary
                    text: root.app.home.clockText
                    visible: !root.rail
                    weight: Font.DemiBold
                }
                Label {
                    x: 10
                    y: 30
                    width: parent.width - 20
                    size: Theme.secondary
                    text: root.app.home.runningTitle
                    visible: !root.rail
                    font.weight: Font.Medium
                }
            }
        }
        NavButton {
            objectName: "settingsButton"
            current: root.page === "settings"
            iconName: "sliders"
            text: qsTr("Settings")
            onClicked: root.chosen("settings")
        }
        Rejection {
            width: parent.width
            account: root.account
            visible: root.account.rejection.length > 0 && !root.rail
        }
        T.AbstractButton {
            id: accountButton

            readonly property bool current: root.page === "account" || root.page === "sign-in"

            width: parent.width
            implicitHeight: root.rail ? 40 : 48
            hoverEnabled: true
            enabled: root.account.available
            focusPolicy: Qt.TabFocus
            text: root.account.title
            Accessible.role: root.account.available ? Accessible.PageTab : Accessible.StaticText
            Accessible.name: qsTr("Account: %1, %2").arg(root.account.title).arg(root.account.stateText)
            Accessible.selected: current
            Accessible.onPressAction: clicked()
            Keys.onReturnPressed: clicked()
            Keys.onEnterPressed: clicked()
            onClicked: root.chosen("account")

            background: Rectangle {
                radius: 10
                color: accountButton.current ? Theme.raised : accountButton.hovered ? Theme.line : "transparent"
                border.width: accountButton.current ? (Theme.highContrast ? 2 : 1) : 0
                border.color: Theme.line

                FocusRing {
                    visible: accountButton.visualFocus
                }
            }
            contentItem: Item {
                Rectangle {
                    x: root.rail ? 6 : 4
                    anchors.verticalCenter: parent.verticalCenter
                    width: 28
                    height: 28
                    radius: 14
                    color: Theme.t2

                    Icon {
                        anchors.centerIn: parent
                        color: Theme.side
                        name: "person-circle"
                        size: 20
                        visible: root.account.initial.length === 0
                    }
                    Label {
                        anchors.centerIn: parent
                        color: Theme.side
                        font.weight: Font.DemiBold
                        size: Theme.secondary
                        text: root.account.initial
                    }
                }
                Label {
                    x: 41
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.verticalCenterOffset: -8
                    width: parent.width - x - 6
                    font.weight: Font.Medium
                    size: Theme.secondary
                    text: root.account.title
                    visible: !root.rail
                    lineHeight: 16
                }
                Row {
                    x: 41
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.verticalCenterOffset: 8
                    spacing: 5
                    visible: !root.rail

                    Icon {
                        anchors.verticalCenter: parent.verticalCenter
                        color: root.account.waiting ? Theme.accent : Theme.t2
                        name: root.account.stateIcon
                        size: 12
                        visible: root.account.stateIcon.length > 0
                    }
                    Label {
                        color: Theme.t2
                        size: Theme.caption
                        text: root.account.stateText
                    }
                }
            }
            Tip {
                shown: root.rail && accountButton.hovered
                text: root.account.title + ", " + root.account.stateText
            }
        }
    }
}
