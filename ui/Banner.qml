import QtQuick
import Tolvik.Ui

// A line above the page for what the user should know.
Rectangle {
    id: root

    property string text
    property string iconName: "exclamation-triangle-fill"
    property color tint: Theme.warn
    property bool closable: false

    signal closed

    implicitHeight: Math.max(40, label.implicitHeight + 20)
    radius: 10
    color: Theme.sunk
    border.color: tint
    border.width: 1
    Accessible.role: Accessible.AlertMessage
    Accessible.name: text

    Icon {
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        color: root.tint
        name: root.iconName
    }
    Label {
        id: label

        anchors.left: parent.left
        anchors.leftMargin: 38
        anchors.right: parent.right
        anchors.rightMargin: 44
        anchors.verticalCenter: parent.verticalCenter
        size: Theme.secondary
        text: root.text
        wrapMode: Text.Wrap
    }
    IconButton {
        anchors.right: parent.right
        anchors.rightMargin: 4
        anchors.verticalCenter: parent.verticalCenter
        iconName: "x-lg"
        iconSize: 12
        name: qsTr("Dismiss")
        visible: root.closable
        onClicked: root.closed()
    }
}
