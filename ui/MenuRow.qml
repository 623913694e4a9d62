import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// One line of a MenuPanel.
T.AbstractButton {
    id: root

    property int colorIndex: -2
    property string iconName
    property bool chosen: false
    property bool dangerous: false
    property bool lit: visualFocus || activeFocus || hovered

    width: parent ? parent.width : implicitWidth
    implicitWidth: label.implicitWidth + 60
    implicitHeight: 32
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    Accessible.role: Accessible.MenuItem
    Accessible.name: text
    Accessible.onPressAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Keys.onUpPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
    Keys.onDownPressed: nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)

    readonly property color ink: lit ? Theme.accentInk : dangerous ? Theme.danger : Theme.t1

    background: Rectangle {
        radius: 6
        color: root.lit ? Theme.accent : "transparent"
    }
    contentItem: Item {
        implicitWidth: label.implicitWidth + 48

        Rectangle {
            anchors.centerIn: mark
            width: 13
            height: 13
            radius: 4
            color: Theme.page
            visible: mark.visible && root.lit
        }
        Swatch {
            id: mark

            x: 12
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: root.colorIndex
            project: true
            visible: root.colorIndex > -2
        }
        Icon {
            x: 9
            anchors.verticalCenter: parent.verticalCenter
            color: root.lit ? Theme.accentInk : root.dangerous ? Theme.danger : Theme.t2
            name: root.iconName
            visible: root.iconName.length > 0
        }
        Label {
            id: label

            anchors.fill: parent
            anchors.leftMargin: mark.visible || root.iconName.length > 0 ? 32 : 10
            anchors.rightMargin: 28
            color: root.ink
            size: Theme.secondary
            text: root.text
        }
        Icon {
            anchors.right: parent.right
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            color: root.ink
            name: "check2"
            visible: root.chosen
        }
    }
}
