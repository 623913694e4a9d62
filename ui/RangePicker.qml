pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// The kinds of ranges side by side. One stop for Tab; ← and → choose.
FocusScope {
    id: root

    property string chosen
    readonly property var ranges: [["month", qsTr("Month")], ["quarter", qsTr("Quarter")], ["half", qsTr("Half")], ["year", qsTr("Year")], ["custom", qsTr("Custom")]]

    signal picked(string range)

    function step(by: int): void {
        const at = ranges.findIndex(range => range[0] === chosen);
        picked(ranges[Math.max(0, Math.min(ranges.length - 1, at + by))][0]);
    }

    implicitWidth: row.width + 4
    implicitHeight: 36
    activeFocusOnTab: true
    Accessible.role: Accessible.PageTabList
    Accessible.name: qsTr("Range")
    Keys.onLeftPressed: step(-1)
    Keys.onRightPressed: step(1)

    Rectangle {
        anchors.fill: parent
        radius: Theme.controlRadius
        color: Theme.sunk
        border.width: Theme.highContrast ? 1 : 0
        border.color: Theme.ink

        FocusRing {
            visible: root.activeFocus
        }
    }
    Row {
        id: row

        x: 2
        y: 2

        Repeater {
            model: root.ranges

            delegate: T.AbstractButton {
                id: button

                required property var modelData
                readonly property bool current: modelData[0] === root.chosen

                implicitWidth: label.implicitWidth + 26
                implicitHeight: 32
                focusPolicy: Qt.NoFocus
                hoverEnabled: true
                text: modelData[1]
                Accessible.role: Accessible.PageTab
                Accessible.name: text
                Accessible.selected: current
                Accessible.onPressAction: clicked()
                onClicked: root.picked(modelData[0])

                background: Rectangle {
                    radius: 6
                    color: button.current ? (Theme.dark ? Theme.line : Theme.page) : "transparent"
                    border.width: button.current ? (Theme.highContrast ? 2 : 1) : 0
                    border.color: Theme.line
                }
                contentItem: Label {
                    id: label

                    color: button.current || button.hovered ? Theme.t1 : Theme.t2
                    font.weight: button.current ? Font.DemiBold : Font.Normal
                    horizontalAlignment: Text.AlignHCenter
                    size: Theme.secondary
                    text: button.text
                }
            }
        }
    }
}
