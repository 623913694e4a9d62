pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The first and the last day of a range of one's own, written or chosen from a calendar.
Item {
    id: root

    required property ReportsModel reports
    property bool wrong: false
    // Of the two days the one that the calendar is open for.
    property bool choosesFirst: true

    function take(): void {
        wrong = !reports.setDays(firstField.text, lastField.text);
    }
    function fill(): void {
        firstField.text = reports.firstDay;
        lastField.text = reports.lastDay;
        wrong = false;
    }

    function choose(isFirst: bool, place: Item): void {
        choosesFirst = isFirst;
        panel.parent = place;
        panel.cursor = isFirst ? reports.firstNumber : reports.lastNumber;
        panel.open();
    }

    implicitHeight: 48
    onVisibleChanged: if (visible)
        fill()
    Component.onCompleted: fill()

    // A day as text, and a button that opens the calendar on it.
    component DayField: Field {
        id: field

        required property string calendarName

        signal calendarWanted(Item place)

        width: 140
        rightPadding: 36
        onAccepted: root.take()
        onEditingFinished: root.take()
        Keys.onDownPressed: pick.clicked()

        IconButton {
            id: pick

            anchors.right: parent.right
            anchors.rightMargin: 2
            anchors.verticalCenter: parent.verticalCenter
            iconName: "calendar3"
            iconSize: 14
            name: field.calendarName
            onClicked: field.calendarWanted(pick)
        }
    }

    CalendarPanel {
        id: panel

        calendar: root.reports.calendar
        first: root.reports.firstNumber
        last: root.reports.lastNumber
        x: 32 - width
        y: 36
        onClosed: (root.choosesFirst ? firstField : lastField).forceActiveFocus(Qt.PopupFocusReason)
        onMoved: days => panel.cursor = Math.min(root.reports.today, panel.cursor + days)
        onPicked: day => {
            if (root.choosesFirst)
                root.reports.pickFirst(day);
            else
                root.reports.pickLast(day);
            root.fill();
        }
    }

    Row {
        anchors.right: parent.right
        spacing: 10

        Label {
            anchors.verticalCenter: parent.verticalCenter
            color: root.wrong ? Theme.danger : Theme.t2
            size: Theme.secondary
            text: root.wrong ? qsTr("Days are written 2026-11-19; the last is not before the first.") : qsTr("From")
            Accessible.ignored: !root.wrong
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        DayField {
            id: firstField

            calendarName: qsTr("Choose the first day")
            name: qsTr("First day")
            placeholderText: qsTr("2026-11-01")
            onCalendarWanted: place => root.choose(true, place)
        }
        Label {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t2
            size: Theme.secondary
            text: qsTr("to")
        }
        DayField {
            id: lastField

            calendarName: qsTr("Choose the last day")
            name: qsTr("Last day")
            placeholderText: qsTr("2026-11-19")
            onCalendarWanted: place => root.choose(false, place)
        }
    }
}
