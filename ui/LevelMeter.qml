import QtQuick

// The input level as fourteen cells.
Row {
    id: root

    property real level: 0

    spacing: 3
    Accessible.role: Accessible.ProgressBar
    Accessible.name: qsTr("Input level")

    Repeater {
        model: 14

        delegate: Rectangle {
            required property int index

            width: 5
            height: 16
            radius: 2
            color: root.level * 14 > index ? Theme.accent : Theme.line
        }
    }
}
