import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A small raised panel that opens from a control and closes by Esc or a press beside it.
T.Popup {
    id: root

    property string name

    margins: 8
    padding: 6
    focus: true
    modal: false
    implicitWidth: Math.max(180, contentWidth + 2 * padding)
    implicitHeight: contentHeight + 2 * padding
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside

    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.hoverMs
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            to: 0
            duration: Theme.hoverMs
        }
    }

    background: Item {
        Accessible.role: Accessible.PopupMenu
        Accessible.name: root.name

        Shadow {
            anchors.fill: panel
            anchors.margins: -32
            anchors.topMargin: -20
            anchors.bottomMargin: -44
            blur: 32
            corner: 12
            opacity: 0.28
        }
        Rectangle {
            id: panel

            anchors.fill: parent
            radius: 12
            color: Theme.raised
            border.color: Theme.line
        }
    }
}
