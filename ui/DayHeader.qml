import QtQuick
import Tolvik.Models

// The shown day in words, and the ways to another one.
Item {
    id: root

    required property HomeModel home
    property bool compact: false

    function openCalendar(): void {
        calendar.active = true;
        (calendar.item as MenuPanel).open();
    }

    // Without room for both ends of the day in one line, the second has its own.
    readonly property bool stacked: compact && home.endedText.length > 0

    implicitHeight: stacked ? 95 : 79

    Label {
        y: -2
        font.weight: Font.DemiBold
        font.letterSpacing: -0.3
        size: Theme.pageTitle
        text: root.home.dayTitle
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text + ", " + root.home.dateText
    }
    Label {
        y: 28
        color: Theme.t2
        size: Theme.secondary
        text: root.home.dateText
    }
    Row {
        y: 55
        Accessible.role: Accessible.StaticText
        Accessible.name: total.text + " " + qsTr("tracked") + rest.text

        Label {
            id: total

            font.weight: Font.DemiBold
            size: Theme.secondary
            text: root.home.trackedText
        }
        Label {
            id: rest

            readonly property string parts: [root.home.startedText, root.stacked ? "" : root.home.endedText].filter(part => part.length > 0).join("  ·  ") // qmllint disable type

            color: Theme.t2
            leftPadding: 4
            size: Theme.secondary
            text: qsTr("tracked") + (parts.length > 0 ? "  ·  " + parts : "")
        }
    }
    Label {
        y: 75
        color: Theme.t2
        size: Theme.secondary
        text: root.home.endedText
        visible: root.stacked
        Accessible.ignored: !visible
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Row {
        anchors.right: parent.right
        anchors.rightMargin: -8
        y: 7
        spacing: 0

        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: "chevron-left"
            name: qsTr("Day before")
            onClicked: root.home.shiftDay(-1)
        }
        DayStrip {
            home: root.home
        }
        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            enabled: !root.home.viewingToday
            iconName: "chevron-right"
            name: qsTr("Day after")
            onClicked: root.home.shiftDay(1)
        }
        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: "calendar3"
            name: qsTr("Calendar")
            onClicked: root.openCalendar()

            Loader {
                id: calendar

                active: false
                sourceComponent: CalendarPanel {
                    calendar: root.home.calendar
                    first: root.home.shownDay
                    last: root.home.shownDay
                    offersToday: true
                    parent: calendar.parent as Item // qmllint disable
                    x: 32 - width
                    y: 36
                    onMoved: days => root.home.shiftDay(days)
                    onPicked: day => root.home.selectDay(day)
                    onTodayWanted: root.home.goToToday()
                }
            }
        }
        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: root.home.ribbon.wholeDay ? "arrows-angle-contract" : "arrows-angle-expand"
            name: root.home.ribbon.wholeDay ? qsTr("Show the working hours") : qsTr("Show 24 hours")
            onClicked: root.home.ribbon.wholeDay = !root.home.ribbon.wholeDay
        }
    }
}
