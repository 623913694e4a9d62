import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A panel in the middle of the window; everything behind it rests.
T.Popup {
    id: root

    property string name

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: Math.min(420, parent ? parent.width - 32 : 420)
    padding: 24
    implicitHeight: implicitContentHeight + 2 * padding
    focus: true
    modal: true
    closePolicy: T.Popup.CloseOnEscape

    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0.03, 0.02, Theme.scrim)
    }
    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.enterMs
            easing.type: Easing.OutCubic
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            to: 0
            duration: Theme.exitMs
            easing.type: Easing.InCubic
        }
    }
    background: Item {
        Accessible.role: Accessible.Dialog
        Accessible.name: root.name

        Shadow {
            anchors.fill: panel
            anchors.margins: -64
            anchors.topMargin: -40
            anchors.bottomMargin: -88
            blur: 64
            corner: 14
            opacity: 0.3
        }
        Rectangle {
            id: panel

            anchors.fill: parent
            radius: 14
            color: Theme.raised
            border.color: Theme.line
        }
    }
}
