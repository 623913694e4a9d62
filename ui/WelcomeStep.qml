import QtQuick
import Tolvik.Models
import Tolvik.Ui

// What this is, in one picture: a day as stretches of time that end where now is.
Column {
    id: root

    required property WindowModel app

    spacing: 28

    Item {
        width: parent.width
        height: 116

        Rectangle {
            width: parent.width
            height: parent.height
            radius: 12
            color: Theme.page
            border.color: Theme.line
        }
        Row {
            id: parts

            readonly property real room: parent.width - 64

            x: 32
            y: 36
            spacing: 3

            Repeater {
                model: [[0.16, 5], [0.27, 1], [0.09, 7], [0.2, 9]]

                delegate: Rectangle {
                    required property var modelData

                    width: parts.room * modelData[0]
                    height: 28
                    radius: 6
                    color: Theme.taskColor(modelData[1])
                    border.color: Theme.highContrast ? Theme.page : "transparent"
                }
            }
        }
        Rectangle {
            x: 32 + parts.width - 1
            y: 26
            width: 3
            height: 48
            radius: 1.5
            color: Theme.accent
        }
        Label {
            x: 32 + parts.width - width / 2
            y: 80
            color: Theme.accent
            font.weight: Font.Medium
            size: Theme.caption
            text: qsTr("now")
        }
    }
    Column {
        width: parent.width
        spacing: 16

        Repeater {
            model: [["mic", qsTr("Say what you are doing"), qsTr("Hold a few keys in any window, speak, let go.")], ["hourglass", qsTr("The time goes where you said"), qsTr("Each task knows how long you were at it, and when.")], ["shield-lock-fill", qsTr("It stays on this device"), qsTr("Speech is understood here, without account or network.")]]

            delegate: Item {
                id: point

                required property var modelData

                width: root.width
                height: 44

                Icon {
                    x: 16
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.accent
                    name: point.modelData[0]
                    size: 20
                }
                Column {
                    anchors.verticalCenter: parent.verticalCenter
                    x: 50
                    width: parent.width - x

                    Label {
                        width: parent.width
                        font.weight: Font.Medium
                        text: point.modelData[1]
                        Accessible.ignored: false
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text + ". " + point.modelData[2]
                    }
                    Label {
                        width: parent.width
                        color: Theme.t2
                        size: Theme.secondary
                        text: point.modelData[2]
                    }
                }
            }
        }
    }
}
