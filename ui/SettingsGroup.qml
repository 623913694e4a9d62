import QtQuick

// A titled box of settings, one below the other.
Column {
    id: root

    property string title
    property bool marked: false
    default property alias rows: body.data

    width: parent ? parent.width : 0
    spacing: 8

    Label {
        color: Theme.t2
        font.weight: Font.DemiBold
        size: Theme.secondary
        text: root.title
        visible: text.length > 0
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Rectangle {
        width: parent.width
        height: body.height + 2
        radius: 12
        color: Theme.page
        border.color: root.marked ? Theme.accent : Theme.line

        Column {
            id: body

            x: 1
            y: 1
            width: parent.width - 2
        }
    }
}
