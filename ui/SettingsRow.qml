import QtQuick
import Tolvik.Ui

// One setting: what it is, what it means, and its control at the right.
Item {
    id: root

    property string title
    property string text
    property string problem
    property string iconName
    property color iconColor: Theme.accent
    property bool ruled: false
    default property alias control: slot.data

    width: parent ? parent.width : 0
    implicitHeight: Math.max(56, words.height + 18)

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
        visible: root.ruled
    }
    Icon {
        x: 16
        anchors.verticalCenter: parent.verticalCenter
        color: root.iconColor
        name: root.iconName
        visible: root.iconName.length > 0
    }
    Column {
        id: words

        anchors.left: parent.left
        anchors.leftMargin: root.iconName.length > 0 ? 46 : 16
        anchors.right: slot.left
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter

        Label {
            width: parent.width
            font.weight: Font.Medium
            text: root.title
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: [root.title, root.problem.length > 0 ? root.problem : root.text].filter(part => part.length > 0).join(". ") // qmllint disable type
        }
        Label {
            width: parent.width
            color: Theme.t2
            size: Theme.secondary
            text: root.text
            visible: text.length > 0 && root.problem.length === 0
            wrapMode: Text.Wrap
        }
        Row {
            width: parent.width
            spacing: 7
            visible: root.problem.length > 0

            Icon {
                y: 3
                color: Theme.danger
                name: "exclamation-triangle-fill"
                size: 14
            }
            Label {
                width: parent.width - 21
                color: Theme.danger
                size: Theme.secondary
                text: root.problem
                wrapMode: Text.Wrap
            }
        }
    }
    Row {
        id: slot

        anchors.right: parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12
    }
}
