pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// A month to choose a day from.
MenuPanel {
    id: root

    required property HomeModel home

    name: qsTr("Calendar")
    padding: 14
    contentWidth: 7 * 36
    contentHeight: body.height
    onAboutToShow: home.openMonth()
    onOpened: grid.forceActiveFocus(Qt.PopupFocusReason)

    Column {
        id: body

        width: parent.width
        spacing: 6

        Item {
            width: parent.width
            height: 32

            Label {
                x: 8
                anchors.verticalCenter: parent.verticalCenter
                font.weight: Font.DemiBold
                text: root.home.monthTitle
            }
            Row {
                anchors.right: parent.right

                IconButton {
                    iconName: "chevron-left"
                    iconSize: 14
                    name: qsTr("Month before")
                    onClicked: root.home.shiftMonth(-1)
                }
                IconButton {
                    enabled: !root.home.monthIsPresent
                    iconName: "chevron-right"
                    iconSize: 14
                    name: qsTr("Month after")
                    onClicked: root.home.shiftMonth(1)
                }
            }
        }
        Row {
            Repeater {
                model: root.home.weekLetters

                delegate: Label {
                    required property string modelData

                    width: 36
                    color: Theme.t3
                    horizontalAlignment: Text.AlignHCenter
                    size: Theme.axis
                    text: modelData
                }
            }
        }
        Grid {
            id: grid

            columns: 7
            activeFocusOnTab: true
            Accessible.role: Accessible.List
            Accessible.name: root.home.monthTitle
            Keys.onLeftPressed: root.home.shiftDay(-1)
            Keys.onRightPressed: root.home.shiftDay(1)
            Keys.onUpPressed: root.home.shiftDay(-7)
            Keys.onDownPressed: root.home.shiftDay(7)
            Keys.onReturnPressed: root.close()

            Repeater {
                model: root.home.month

                delegate: Item {
                    id: cell

                    required property int day
                    required property string number
                    required property real fraction
                    required property bool chosen
                    required property bool today
                    required property bool future
                    required property bool inMonth
                    required property string spoken

                    width: 36
                    height: 36
                    opacity: future ? 0.35 : inMonth ? 1 : 0.55
                    Accessible.role: Accessible.Button
                    Accessible.name: spoken
                    Accessible.selected: chosen
                    Accessible.onPressAction: choose()

                    function choose(): void {
                        if (!future) {
                            root.home.selectDay(day);
                            root.close();
                        }
                    }

                    Rectangle {
                        anchors.fill: parent
                        anchors.margins: 2
                        radius: 8
                        color: cell.chosen ? Theme.accent : pointer.hovered && !cell.future ? Theme.sunk : "transparent"
                        border.width: cell.today && !cell.chosen ? 1 : 0
                        border.color: Theme.accent
                    }
                    Label {
                        anchors.centerIn: parent
                        anchors.verticalCenterOffset: -3
                        color: cell.chosen ? Theme.accentInk : Theme.t1
                        font.weight: cell.today ? Font.DemiBold : Font.Normal
                        size: Theme.secondary
                        text: cell.number
                    }
                    Rectangle {
                        anchors.horizontalCenter: parent.horizontalCenter
                        y: 27
                        width: Math.round(18 * cell.fraction)
                        height: 3
                        radius: 1.5
                        color: cell.chosen ? Theme.accentInk : Theme.edge
                        visible: cell.fraction > 0
                    }
                    HoverHandler {
                        id: pointer
                    }
                    TapHandler {
                        onTapped: cell.choose()
                    }
                }
            }
        }
        PushButton {
            anchors.horizontalCenter: parent.horizontalCenter
            implicitHeight: 32
            kind: PushButton.Plain
            text: qsTr("Today")
            onClicked: {
                root.home.goToToday();
                root.close();
            }
        }
    }
}
