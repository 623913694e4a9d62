import QtQuick
import QtQuick.Templates as T

// An on-off switch. `wanted` is emitted with the new state; `on` is bound to what holds.
T.AbstractButton {
    id: root

    required property string name
    property bool on: false

    signal wanted(bool on)

    implicitWidth: 44
    implicitHeight: 32
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    text: name
    Accessible.role: Accessible.CheckBox
    Accessible.name: name
    Accessible.checkable: true
    Accessible.checked: on
    Accessible.onPressAction: clicked()
    Accessible.onToggleAction: clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    onClicked: wanted(!on)

    background: Item {
        Rectangle {
            anchors.centerIn: parent
            width: 44
            height: 26
            radius: 13
            color: root.on ? Theme.accent : Theme.page
            border.width: root.on ? 0 : 2
            border.color: Theme.edge
            opacity: root.enabled ? 1 : 0.5

            Rectangle {
                anchors.verticalCenter: parent.verticalCenter
                x: root.on ? parent.width - width - 3 : 4
                width: root.on ? 20 : 18
                height: width
                radius: width / 2
                color: root.on ? Theme.accentInk : Theme.edge

                Behavior on x  {
                    enabled: !Theme.reducedMotion
                    NumberAnimation {
                        duration: Theme.stateMs
                        easing.type: Easing.OutCubic
                    }
                }
            }
            FocusRing {
                visible: root.visualFocus
            }
        }
    }
}
