import QtQuick
import Tolvik.Models

// What runs, since when, and the two ways to end it.
Item {
    id: root

    required property HomeModel home
    property bool compact: false

    implicitHeight: 66

    Swatch {
        id: dot

        y: 14
        colorIndex: root.home.runningColor
        visible: root.home.running
    }
    Rectangle {
        anchors.fill: dot
        radius: 6
        color: "transparent"
        border.color: Theme.edge
        border.width: 2
        visible: !root.home.running
    }
    Label {
        anchors.left: parent.left
        anchors.leftMargin: 24
        anchors.right: right.left
        anchors.rightMargin: 16
        y: 4
        color: root.home.running ? Theme.t1 : Theme.t2
        font.weight: Font.DemiBold
        font.letterSpacing: -0.4
        size: Theme.runningTitle
        text: root.home.runningTitle
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: root.home.running ? qsTr("Running: %1").arg(root.home.runningTitle) : root.home.runningTitle
    }
    Row {
        x: 26
        y: 40
        spacing: 14

        Row {
            spacing: 7
            visible: root.home.runningProject.length > 0

            Swatch {
                anchors.verticalCenter: parent.verticalCenter
                colorIndex: root.home.runningProjectColor
                project: true
            }
            Label {
                color: Theme.t2
                size: Theme.secondary
                text: root.home.runningProject
            }
        }
        Label {
            font.weight: Font.Medium
            size: Theme.secondary
            text: root.home.sinceText
            visible: text.length > 0
        }
        Label {
            color: Theme.t2
            size: Theme.secondary
            text: root.home.todayText
            visible: text.length > 0 && !root.compact
        }
        Label {
            color: Theme.t2
            size: Theme.secondary
            text: root.home.lastText
            visible: text.length > 0
        }
    }
    Row {
        id: right

        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: root.compact ? 10 : 6

        Figures {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t1
            size: root.compact ? 36 : Theme.clock
            text: root.home.clockText
            visible: root.home.running
            weight: Font.Medium
        }
        Item {
            width: root.compact ? 2 : 14
            height: 1
            visible: root.home.running
        }
        PushButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: "check2"
            text: root.compact ? "" : qsTr("Mark done")
            visible: root.home.running
            Accessible.name: qsTr("Mark %1 done").arg(root.home.runningTitle)
            onClicked: root.home.markRunningDone()
        }
        PushButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: "stop-fill"
            iconSize: 18
            text: root.compact ? "" : qsTr("Stop")
            visible: root.home.running
            Accessible.name: qsTr("Stop %1").arg(root.home.runningTitle)
            onClicked: root.home.stop()
        }
        PushButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: "play-fill"
            text: qsTr("Resume %1").arg(root.home.resumeTitle.length > 32 ? root.home.resumeTitle.slice(0, 31) + "…" : root.home.resumeTitle)
            visible: root.home.resumeTitle.length > 0
            onClicked: root.home.resume()
        }
    }
}
