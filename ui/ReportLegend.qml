pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The projects of the report, the smallest on top as in the bars; a press shows that one alone.
Column {
    id: root

    required property ReportsModel reports
    property int current: -1
    readonly property int rowHeight: rows.count > 6 ? 32 : 38

    function rowOf(tag: int): Item {
        return rows.itemAt(tag);
    }
    function pick(id: string): void {
        reports.filterId = reports.filterId === id ? "all" : id;
    }

    activeFocusOnTab: true
    objectName: "reportProjects"
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Projects")
    // The rows stand upside down.
    Keys.onUpPressed: current = Math.min(rows.count - 1, current + 1)
    Keys.onDownPressed: current = Math.max(0, current - 1)
    Keys.onReturnPressed: if (current >= 0)
        pick(rows.itemAt(current).rowId) // qmllint disable type
    onActiveFocusChanged: if (activeFocus && current < 0)
        current = rows.count - 1
    height: rows.count * rowHeight

    component LegendRow: Item {
        id: row

        required property int index
        required property string rowId
        required property string name
        required property int colorIndex
        required property string lengthText
        required property string percentText
        required property string spoken

        Accessible.role: Accessible.ListItem
        Accessible.name: spoken
        Accessible.focusable: true
        Accessible.onPressAction: root.pick(rowId)

        Rectangle {
            anchors.fill: parent
            anchors.leftMargin: -8
            anchors.rightMargin: -8
            radius: Theme.controlRadius
            color: Theme.hover
            opacity: pointer.hovered ? 1 : 0

            FocusRing {
                anchors.margins: -2
                around: 6
                visible: root.current === row.index && root.activeFocus
            }
        }
        Swatch {
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: row.colorIndex
            implicitWidth: 10
            project: true
        }
        Label {
            x: 22
            width: parent.width - x - 120
            anchors.verticalCenter: parent.verticalCenter
            font.weight: Font.Medium
            text: row.name
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
            onTapped: root.pick(row.rowId)
        }
    }

    Item {
        width: root.width
        height: root.height

        Repeater {
            id: rows

            model: root.reports.projects

            delegate: LegendRow {
                y: (rows.count - 1 - index) * root.rowHeight
                width: root.width
                height: root.rowHeight
            }
        }
    }
}
