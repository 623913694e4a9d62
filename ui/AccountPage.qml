pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// Whose log this is: name, synchronisation, and the two ways to leave.
FocusScope {
    id: root

    required property WindowModel app
    property bool compact: false
    readonly property AccountModel account: app.account
    readonly property int margin: compact ? 20 : 32

    signal signInWanted
    signal signOutWanted
    signal deleteWanted

    Flickable {
        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: body.y + body.height + 40
        contentWidth: width

        T.ScrollBar.vertical: ScrollBar {
        }

        PageTitle {
            id: title

            x: body.x
            y: 28
            text: qsTr("Account")
        }
        Column {
            id: body

            x: Math.round((root.width - Math.min(1180, root.width - 2 * root.margin)) / 2)
            y: 74
            width: Math.min(680, root.width - 2 * root.margin)
            spacing: 22

            Item {
                width: parent.width
                height: 56
                visible: root.account.signedIn

                Rectangle {
                    width: 56
                    height: 56
                    radius: 28
                    color: Theme.t2

                    Label {
                        anchors.centerIn: parent
                        color: Theme.page
                        font.weight: Font.DemiBold
                        size: Theme.runningTitle
                        text: root.account.initial
                    }
                }
                Label {
                    x: 72
                    y: root.account.name.length > 0 ? 4 : 14
                    width: parent.width - x
                    font.family: Theme.displayFamily
                    font.letterSpacing: -0.2
                    font.pixelSize: 20
                    font.weight: Font.DemiBold
                    lineHeight: 28
                    text: root.account.title
                }
                Label {
                    x: 72
                    y: 32
                    width: parent.width - x
                    color: Theme.t2
                    size: Theme.secondary
                    text: root.account.email
                    // Without a name the address is the title already.
                    visible: root.account.name.length > 0
                }
            }
            Banner {
                width: parent.width
                iconName: "exclamation-triangle-fill"
                text: root.account.accountProblem
                tint: Theme.danger
                visible: text.length > 0
            }
            SettingsGroup {
                visible: !root.account.signedIn

                SettingsRow {
                    iconColor: Theme.t2
                    iconName: "cloud-slash"
                    problem: ""
                    text: root.account.networkProblem.length > 0 ? root.account.networkProblem : qsTr("Tracking works without an account. Signing in keeps your devices in step.")
                    title: qsTr("On this device only")

                    PushButton {
                        enabled: root.account.networkProblem.length === 0
                        implicitHeight: 32
                        kind: PushButton.Filled
                        text: qsTr("Sign in")
                        Accessible.description: root.account.networkProblem
                        onClicked: root.signInWanted()
                    }
                }
            }
            SettingsGroup {
                title: qsTr("Profile")
                visible: root.account.signedIn

                SettingsRow {
                    problem: root.account.nameProblem
                    text: root.account.networkProblem
                    title: qsTr("Name")

                    Field {
                        id: nameField

                        // What is being typed stays when anything else of the account changes.
                        readonly property string savedName: root.account.name

                        width: root.width < 700 ? 180 : 260
                        implicitHeight: 34
                        maximumLength: 200
                        name: qsTr("Your name")
                        placeholderText: name
                        Component.onCompleted: text = savedName
                        onSavedNameChanged: text = savedName
                        onAccepted: if (save.enabled)
                            root.account.saveName(text)
                        Accessible.description: root.account.nameProblem
                    }
                    PushButton {
                        id: save

                        anchors.verticalCenter: parent.verticalCenter
                        enabled: !root.account.working && root.account.networkProblem.length === 0 && nameField.text.trim().length > 0 && nameField.text.trim() !== root.account.name
                        implicitHeight: 32
                        kind: PushButton.Filled
                        text: qsTr("Save")
                        Accessible.name: qsTr("Save your name")
                        Accessible.description: root.account.networkProblem
                        onClicked: root.account.saveName(nameField.text)
                    }
                }
                SettingsRow {
                    ruled: true
                    title: qsTr("Email")

                    Label {
                        anchors.verticalCenter: parent.verticalCenter
                        color: Theme.t2
                        size: Theme.secondary
                        text: root.account.email
                        Accessible.ignored: false
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                }
            }
            SettingsGroup {
                title: qsTr("Sync")
                visible: root.account.signedIn

                SettingsRow {
                    iconColor: root.account.waiting ? Theme.warn : Theme.accent
                    iconName: root.account.stateIcon
                    text: root.account.reasonText
                    title: root.account.stateText

                    Label {
                        anchors.verticalCenter: parent.verticalCenter
                        color: Theme.t2
                        size: Theme.caption
                        text: root.account.lastSyncedText
                        visible: text.length > 0 && root.width > 620
                        Accessible.ignored: !visible
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                    PushButton {
                        anchors.verticalCenter: parent.verticalCenter
                        iconName: "arrow-repeat"
                        implicitHeight: 32
                        text: root.account.waiting ? qsTr("Try now") : qsTr("Sync now")
                        onClicked: root.account.syncNow()
                    }
                }
            }
            SettingsGroup {
                title: qsTr("This device")
                visible: root.account.signedIn

                SettingsRow {
                    text: qsTr("Stops sync on this device.")
                    title: qsTr("Sign out")

                    PushButton {
                        enabled: !root.account.working
                        implicitHeight: 32
                        text: root.account.working ? qsTr("One moment…") : qsTr("Sign out")
                        onClicked: root.signOutWanted()
                    }
                }
            }
            SettingsGroup {
                title: qsTr("Delete account")
                visible: root.account.signedIn

                SettingsRow {
                    text: root.account.networkProblem.length > 0 ? root.account.networkProblem : root.account.deleteWarning
                    title: root.account.deleteText

                    PushButton {
                        enabled: !root.account.working && root.account.networkProblem.length === 0
                        implicitHeight: 32
                        kind: PushButton.DangerOutlined
                        text: qsTr("Delete account…")
                        Accessible.description: root.account.networkProblem
                        onClicked: root.deleteWanted()
                    }
                }
            }
        }
    }
}
