import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A button with words, an icon, or both.
T.AbstractButton {
    id: root

    enum Kind {
        Outlined,
        Filled,
        Danger,
        Plain,
        DangerOutlined
    }

    property int kind: PushButton.Outlined
    property string iconName
    property color tint: !enabled && kind === PushButton.Filled ? Theme.t2 : kind === PushButton.Filled ? Theme.accentInk : kind === PushButton.DangerOutlined ? Theme.danger : kind === PushButton.Danger ? Theme.dangerInk : kind === PushButton.Plain ? Theme.accent : Theme.t1
    property int iconSize: 16

    implicitWidth: Math.max(implicitHeight, content.implicitWidth + (text.length > 0 ? (iconName.length > 0 ? 26 : 24) : 0))
    implicitHeight: 36
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: Rectangle {
        radius: Theme.controlRadius
        color: root.kind === PushButton.Filled ? (root.enabled ? Theme.accent : Theme.sunk) : root.kind === PushButton.Danger ? Theme.danger : root.down ? Theme.sunk : root.hovered ? Theme.hover : root.kind === PushButton.Plain ? "transparent" : Theme.page
        border.width: root.kind === PushButton.Outlined || root.kind === PushButton.DangerOutlined ? 1 : 0
        border.color: root.kind === PushButton.DangerOutlined ? Theme.danger : Theme.edge
        opacity: (root.kind === PushButton.Filled || root.kind === PushButton.Danger) && (root.hovered || root.down) ? 0.9 : 1

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
        implicitWidth: content.implicitWidth

        Row {
            id: content

            anchors.centerIn: parent
            spacing: 8
            opacity: root.enabled || root.kind === PushButton.Filled ? 1 : 0.45

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: root.tint
                name: root.iconName
                size: root.iconSize
                visible: root.iconName.length > 0
            }
            Label {
                color: root.tint
                font.weight: Font.Medium
                size: Theme.secondary
                text: root.text
                visible: root.text.length > 0
            }
        }
    }
}
