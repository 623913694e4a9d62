import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A borderless button with an icon; `name` is what assistive technology and the tip say.
T.AbstractButton {
    id: root

    required property string name
    property string iconName
    property int iconSize: 16
    property color tint: Theme.t2

    implicitWidth: 32
    implicitHeight: 32
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    text: name
    Accessible.role: Accessible.Button
    Accessible.name: name
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: Rectangle {
        radius: Theme.controlRadius
        color: root.down ? Theme.line : root.hovered ? Theme.sunk : "transparent"

        Behavior on color  {
            ColorAnimation {
                duration: Theme.hoverMs
            }
        }
        FocusRing {
            visible: root.visualFocus
        }
    }
    contentItem: Item {
        Icon {
            anchors.centerIn: parent
            color: root.tint
            name: root.iconName
            opacity: root.enabled ? 1 : 0.35
            size: root.iconSize
        }
    }

    Tip {
        shown: root.hovered && root.enabled
        text: root.name
    }
}
