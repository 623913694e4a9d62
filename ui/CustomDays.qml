import QtQuick
import Tolvik.Models

// The first and the last day of a range of one's own.
Item {
    id: root

    required property ReportsModel reports
    property bool wrong: false

    function take(): void {
        wrong = !reports.setDays(first.text, last.text);
    }
    function fill(): void {
        first.text = reports.firstDay;
        last.text = reports.lastDay;
    }

    implicitHeight: 48
    onVisibleChanged: if (visible)
        fill()
    Component.onCompleted: fill()

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
        Field {
            id: first

            width: 116
            name: qsTr("First day")
            placeholderText: qsTr("2026-11-01")
            onAccepted: root.take()
            onEditingFinished: root.take()
        }
        Label {
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t2
            size: Theme.secondary
            text: qsTr("to")
        }
        Field {
            id: last

            width: 116
            name: qsTr("Last day")
            placeholderText: qsTr("2026-11-19")
            onAccepted: root.take()
            onEditingFinished: root.take()
        }
    }
}
