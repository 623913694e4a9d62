import QtQuick
import Tolvik.Ui

// Something that speaking needs of the machine: granted in place, or what to do about it.
Item {
    id: root

    required property bool granted
    property string title
    property string text
    property string problem
    property string iconName
    property bool ruled: false
    // Placed before "Granted".
    default property alias extra: slot.data

    signal allowWanted
    signal settingsWanted

    width: parent ? parent.width : 0
    implicitHeight: Math.max(68, words.height + 28)

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
        visible: root.ruled
    }
    Icon {
        x: 16
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.t1
        name: root.iconName
        size: 20
    }
    Column {
        id: words

        anchors.left: parent.left
        anchors.leftMargin: 50
        anchors.right: controls.left
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter

        Label {
            width: parent.width
            font.weight: Font.Medium
            text: root.title
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: root.title + ". " + (root.granted ? qsTr("Granted.") + " " + root.text : root.problem)
        }
        Label {
            width: parent.width
            color: root.granted || root.problem.length === 0 ? Theme.t2 : Theme.danger
            size: Theme.secondary
            text: root.granted || root.problem.length === 0 ? root.text : root.problem
            wrapMode: Text.Wrap
        }
    }
    Row {
        id: controls

        anchors.right: parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12

        Row {
            id: slot

            anchors.verticalCenter: parent.verticalCenter
            spacing: 12
            visible: root.granted
        }
        Row {
            anchors.verticalCenter: parent.verticalCenter
            spacing: 6
            visible: root.granted

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.accent
                name: "check-circle-fill"
            }
            Label {
                color: Theme.accent
                font.weight: Font.Medium
                size: Theme.secondary
                text: qsTr("Granted")
            }
        }
        PushButton {
            implicitHeight: 32
            kind: PushButton.Plain
            text: qsTr("Open system settings")
            tint: Theme.t2
            visible: !root.granted
            Accessible.name: qsTr("Open system settings for %1").arg(root.title)
            onClicked: root.settingsWanted()
        }
        PushButton {
            implicitHeight: 32
            text: qsTr("Check again")
            visible: !root.granted
            Accessible.name: qsTr("Check again: %1").arg(root.title)
            onClicked: root.allowWanted()
        }
    }
}
