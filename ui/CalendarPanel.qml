pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// A month to choose a day from. The arrow keys move, Enter chooses.
MenuPanel {
    id: root

    required property CalendarModel calendar
    // Day numbers: what is chosen, and where the arrow keys are.
    property int first
    property int last
    property int cursor: last
    property bool offersToday: false

    signal picked(int day)
    signal moved(int days)
    signal todayWanted

    function choose(day: int): void {
        close();
        picked(day);
    }

    name: qsTr("Calendar")
    padding: 14
    contentWidth: 7 * 36
    contentHeight: body.height
    onAboutToShow: calendar.show(cursor)
    onOpened: grid.forceActiveFocus(Qt.PopupFocusReason)
    onCursorChanged: if (visible)
        calendar.show(cursor)

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
                text: root.calendar.title
            }
            Row {
                anchors.right: parent.right

                IconButton {
                    iconName: "chevron-left"
                    iconSize: 14
                    name: qsTr("Month before")
                    onClicked: root.calendar.shift(-1)
                }
                IconButton {
                    enabled: !root.calendar.isPresent
                    iconName: "chevron-right"
                    iconSize: 14
                    name: qsTr("Month after")
                    onClicked: root.calendar.shift(1)
                }
            }
        }
        Row {
            Repeater {
                model: root.calendar.weekLetters

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
            objectName: "calendarDays"
            Accessible.role: Accessible.List
            Accessible.name: root.calendar.title
            Keys.onLeftPressed: root.moved(-1)
            Keys.onRightPressed: root.moved(1)
            Keys.onUpPressed: root.moved(-7)
            Keys.onDownPressed: root.moved(7)
            Keys.onReturnPressed: root.choose(root.cursor)
            Keys.onEnterPressed: root.choose(root.cursor)

            Repeater {
                model: root.calendar.days

                delegate: Item {
                    id: cell

                    required property int day
                    required property string number
                    required property real fraction
                    required property bool today
                    required property bool future
                    required property bool inMonth
                    required property string spoken
                    readonly property bool inside: day >= root.first && day <= root.last
                    readonly property bool end: day === root.first || day === root.last

                    width: 36
                    height: 36
                    opacity: future ? 0.35 : inMonth ? 1 : 0.55
                    Accessible.role: Accessible.Button
                    Accessible.name: spoken
                    Accessible.selected: inside
                    Accessible.onPressAction: take()

                    function take(): void {
                        if (!future)
                            root.choose(day);
                    }

                    Rectangle {
                        anchors.fill: parent
                        anchors.margins: cell.inside && !cell.end ? 0 : 2
                        anchors.topMargin: 2
                        anchors.bottomMargin: 2
                        radius: cell.inside && !cell.end ? 0 : 8
                        color: cell.end ? Theme.accent : cell.inside ? Theme.soft : pointer.hovered && !cell.future ? Theme.sunk : "transparent"
                        border.width: cell.today && !cell.end ? 1 : 0
                        border.color: Theme.accent

                        FocusRing {
                            visible: cell.day === root.cursor && grid.activeFocus
                        }
                    }
                    Label {
                        anchors.centerIn: parent
                        anchors.verticalCenterOffset: -3
                        color: cell.end ? Theme.accentInk : Theme.t1
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
                        color: cell.end ? Theme.accentInk : Theme.edge
                        visible: cell.fraction > 0
                    }
                    HoverHandler {
                        id: pointer
                    }
                    TapHandler {
                        onTapped: cell.take()
                    }
                }
            }
        }
        PushButton {
            anchors.horizontalCenter: parent.horizontalCenter
            implicitHeight: 32
            kind: PushButton.Plain
            text: qsTr("Today")
            visible: root.offersToday
            onClicked: {
                root.close();
                root.todayWanted();
            }
        }
    }
}
