pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The last days, each with a bar of its hours. One stop for Tab; ← and → walk along it.
FocusScope {
    id: root

    required property HomeModel home
    property int cellWidth: 32

    implicitWidth: cellWidth * root.home.strip.length
    implicitHeight: 67
    activeFocusOnTab: true
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Days")
    Keys.onLeftPressed: root.home.shiftDay(-1)
    Keys.onRightPressed: root.home.shiftDay(1)

    Row {
        Repeater {
            model: root.home.strip

            delegate: Item {
                id: cell

                required property int day
                required property string letter
                required property string number
                required property real fraction
                required property bool chosen
                required property bool future
                required property string spoken

                width: root.cellWidth
                height: 67
                Accessible.role: Accessible.Button
                Accessible.name: spoken
                Accessible.selected: chosen
                Accessible.focusable: true
                Accessible.onPressAction: root.home.selectDay(cell.day)

                Rectangle {
                    anchors.fill: parent
                    radius: Theme.controlRadius
                    color: cell.chosen ? Theme.soft : Theme.hover
                    opacity: cell.chosen || pointer.hovered ? 1 : 0
                    border.width: cell.chosen && Theme.highContrast ? 2 : 0
                    border.color: Theme.accent

                    Behavior on opacity  {
                        NumberAnimation {
                            duration: Theme.hoverMs
                        }
                    }
                    FocusRing {
                        around: 4
                        visible: cell.chosen && root.activeFocus
                    }
                }
                Label {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: 4
                    color: cell.chosen ? Theme.accent : Theme.t2
                    font.weight: cell.chosen ? Font.DemiBold : Font.Normal
                    size: Theme.axis
                    text: cell.letter
                }
                Rectangle {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: 48 - height
                    width: 8
                    height: cell.fraction > 0 ? Math.max(3, Math.round(24 * cell.fraction)) : 0
                    radius: 1.5
                    color: cell.chosen ? Theme.accent : Theme.edge
                }
                Label {
                    anchors.horizontalCenter: parent.horizontalCenter
                    y: 49
                    color: cell.chosen ? Theme.accent : Theme.t1
                    font.weight: cell.chosen ? Font.DemiBold : Font.Medium
                    size: Theme.caption
                    text: cell.number
                }
                HoverHandler {
                    id: pointer
                }
                TapHandler {
                    onTapped: root.home.selectDay(cell.day)
                }
            }
        }
    }
}
