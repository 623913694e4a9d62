import QtQuick
import Tolvik.Models
import Tolvik.Ui

// Above the pages after a start that follows a crash: what happened, what is known of it, and a way to be done with it.
Rectangle {
    id: root

    required property PrivacyModel privacy

    signal detailsWanted

    implicitHeight: Math.max(44, label.implicitHeight + 24)
    radius: 10
    color: Theme.sunk
    border.color: Theme.warn
    border.width: 1
    Accessible.role: Accessible.AlertMessage
    Accessible.name: root.privacy.crashNotice

    Icon {
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.warn
        name: "exclamation-triangle-fill"
    }
    Label {
        id: label

        anchors.left: parent.left
        anchors.leftMargin: 38
        anchors.right: details.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        size: Theme.secondary
        text: root.privacy.crashNotice
        wrapMode: Text.Wrap
    }
    PushButton {
        id: details

        anchors.right: close.left
        anchors.verticalCenter: parent.verticalCenter
        implicitHeight: 32
        kind: PushButton.Plain
        text: qsTr("Details")
        Accessible.name: qsTr("What is known of it")
        onClicked: root.detailsWanted()
    }
    IconButton {
        id: close

        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        iconName: "x-lg"
        iconSize: 12
        name: qsTr("Dismiss the notice")
        onClicked: root.privacy.dismissCrash()
    }
}
