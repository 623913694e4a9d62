pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The tasks of the report, the longest first. One stop for Tab; Enter goes to the day a task last ran.
Column {
    id: root

    required property ReportsModel reports
    property bool narrow: false
    property int current: -1
    property int shown: 20

    activeFocusOnTab: true
    objectName: "reportTasks"
    Accessible.role: Accessible.List
    Accessible.name: qsTr("By task")
    Keys.onUpPressed: current = Math.max(0, current - 1)
    Keys.onDownPressed: current = Math.min(Math.min(shown, rows.count) - 1, current + 1)
    Keys.onReturnPressed: if (current >= 0)
        reports.showTask(rows.itemAt(current).rowId) // qmllint disable type
    onActiveFocusChanged: if (activeFocus && current < 0)
        current = 0

    component TaskShare: Item {
        id: row

        required property int index
        required property string rowId
        required property string name
        required property int colorIndex
        required property string lengthText
        required property string percentText
        required property real share
        required property string project
        required property int projectColor
        required property string spoken
        readonly property int barStart: Math.round(width * (root.narrow ? 0.6 : 0.49))

        Accessible.role: Accessible.ListItem
        Accessible.name: spoken
        Accessible.focusable: true
        Accessible.onPressAction: root.reports.showTask(rowId)

        Rectangle {
            anchors.fill: parent
            anchors.leftMargin: -10
            anchors.rightMargin: -10
            radius: Theme.controlRadius
            color: Theme.hover
            opacity: pointer.hovered ? 1 : 0

            FocusRing {
                anchors.margins: -2
                around: 6
                visible: root.current === row.index && root.activeFocus
            }
        }
        Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 1
            color: Theme.line
        }
        Swatch {
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: row.colorIndex
            implicitWidth: 10
        }
        Label {
            x: 26
            width: Math.round(row.width * 0.35) - x - 12
            anchors.verticalCenter: parent.verticalCenter
            text: row.name
        }
        Row {
            x: Math.round(row.width * 0.35)
            anchors.verticalCenter: parent.verticalCenter
            spacing: 7
            visible: row.project.length > 0

            Swatch {
                anchors.verticalCenter: parent.verticalCenter
                colorIndex: row.projectColor
                project: true
            }
            Label {
                width: Math.min(implicitWidth, row.barStart - Math.round(row.width * 0.35) - 28)
                color: Theme.t2
                size: Theme.secondary
                text: row.project
            }
        }
        Rectangle {
            x: row.barStart
            anchors.verticalCenter: parent.verticalCenter
            width: Math.max(4, Math.round((row.width - x - 136) * row.share))
            height: 6
            radius: 3
            color: Theme.taskColor(row.colorIndex)
        }
        Figures {
            anchors.right: parent.right
            anchors.rightMargin: 48
            anchors.verticalCenter: parent.verticalCenter
            quietUnits: true
            text: row.lengthText
        }
        Label {
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t3
            size: Theme.caption
            text: row.percentText
        }
        HoverHandler {
            id: pointer
        }
        TapHandler {
            onTapped: root.reports.showTask(row.rowId)
        }
    }

    Label {
        height: 44
        font.weight: Font.DemiBold
        size: Theme.section
        text: qsTr("By task")
        verticalAlignment: Text.AlignTop
        topPadding: 12
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Repeater {
        id: rows

        model: root.reports.tasks

        delegate: TaskShare {
            width: root.width
            height: 34
            visible: index < root.shown
        }
    }
    PushButton {
        implicitHeight: 32
        kind: PushButton.Plain
        text: qsTr("Show %1 more").arg(rows.count - root.shown)
        visible: rows.count > root.shown
        onClicked: root.shown = rows.count
    }
}
