import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A quiet button that opens a menu.
T.AbstractButton {
    id: root

    required property string name
    property int colorIndex: -1
    property bool hasSwatch: false
    property bool framed: false

    implicitWidth: row.implicitWidth + (framed ? 24 : 16)
    implicitHeight: 32
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    Accessible.role: Accessible.ButtonMenu
    Accessible.name: text.length > 0 ? name + ": " + text : name
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: Rectangle {
        radius: Theme.controlRadius
        color: root.framed ? Theme.page : root.hovered || root.down ? Theme.sunk : "transparent"
        border.color: Theme.edge
        border.width: root.framed ? 1 : 0

        FocusRing {
            visible: root.visualFocus
        }
    }
    contentItem: Item {
        Row {
            id: row

            anchors.centerIn: parent
            spacing: 8

            Swatch {
                anchors.verticalCenter: parent.verticalCenter
                colorIndex: root.colorIndex
                project: true
                visible: root.hasSwatch
            }
            Label {
                anchors.verticalCenter: parent.verticalCenter
                width: Math.min(implicitWidth, 240)
                color: root.framed ? Theme.t1 : Theme.t2
                font.weight: root.framed ? Font.Medium : Font.Normal
                size: Theme.secondary
                text: root.text
            }
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                name: "chevron-down"
                size: 12
            }
        }
    }
}
