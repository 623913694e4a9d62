pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// Where the time of a range went: the total, its bars, projects and tasks.
FocusScope {
    id: root

    objectName: "reportsPage"

    required property WindowModel app
    property bool compact: false
    readonly property ReportsModel reports: app.reports
    readonly property int margin: compact ? 20 : 32
    readonly property int column: Math.min(1180, width - 2 * margin)
    readonly property bool narrow: column < 860

    function openExport(): void {
        if (reports.canExport && !reports.exporting)
            exportMenu.open();
    }
    function openFilter(): void {
        filterMenu.open();
    }

    Binding {
        target: root.reports
        property: "live"
        value: root.visible && root.app.home.live
        restoreMode: Binding.RestoreNone
    }
    Component.onDestruction: reports.live = false

    Flickable {
        id: flick

        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: content.height + 32
        contentWidth: width

        T.ScrollBar.vertical: ScrollBar {
        }

        Column {
            id: content

            x: Math.round((root.width - root.column) / 2)
            width: root.column

            Item {
                width: parent.width
                height: root.narrow ? 120 : 76

                PageTitle {
                    y: 28
                    text: qsTr("Reports")
                }
                Row {
                    x: root.narrow ? 0 : parent.width - width
                    y: root.narrow ? 70 : 24
                    spacing: 12

                    RangePicker {
                        id: ranges

                        chosen: root.reports.range
                        onPicked: range => root.reports.range = range
                    }
                    DropButton {
                        id: filter

                        implicitHeight: 36
                        framed: true
                        name: qsTr("Show the time of")
                        text: root.reports.filterText
                        onClicked: filterMenu.open()

                        ProjectMenu {
                            id: filterMenu

                            x: parent.width - width
                            y: parent.height + 4
                            after: [{
                                    "id": "unassigned",
                                    "text": qsTr("No project")
                                }]
                            before: [{
                                    "id": "all",
                                    "text": qsTr("All projects")
                                }]
                            chosenId: root.reports.filterId
                            name: qsTr("Project filter")
                            projects: root.app.home.projects
                            onPicked: id => root.reports.filterId = id
                        }
                    }
                    PushButton {
                        id: exportButton

                        enabled: !root.reports.exporting && !root.reports.empty
                        iconName: "download"
                        text: qsTr("Export")
                        visible: root.reports.canExport
                        onClicked: exportMenu.open()

                        MenuPanel {
                            id: exportMenu

                            x: parent.width - width
                            y: parent.height + 4
                            contentHeight: formats.height
                            contentWidth: 220
                            name: qsTr("Export")
                            onOpened: formats.children[0].forceActiveFocus(Qt.PopupFocusReason)

                            Column {
                                id: formats

                                width: parent.width

                                Repeater {
                                    model: [["csv", "table", "CSV", qsTr("For spreadsheets")], ["json", "braces", "JSON", qsTr("Every field")], ["pdf", "file-earmark-richtext", "PDF", qsTr("To send or print")]]

                                    delegate: MenuRow {
                                        id: format

                                        required property var modelData

                                        iconName: modelData[1]
                                        implicitHeight: 36
                                        text: modelData[2]
                                        Accessible.name: modelData[2] + ", " + modelData[3]
                                        onClicked: {
                                            exportMenu.close();
                                            root.reports.exportAs(modelData[0]);
                                        }

                                        Label {
                                            anchors.right: parent.right
                                            anchors.rightMargin: 12
                                            anchors.verticalCenter: parent.verticalCenter
                                            color: format.lit ? Theme.accentInk : Theme.t2
                                            size: Theme.caption
                                            text: format.modelData[3]
                                        }
                                    }
                                }
                            }
                        }
                    }
                }
            }
            CustomDays {
                width: parent.width
                reports: root.reports
                visible: root.reports.range === "custom"
            }
            Item {
                width: parent.width
                height: 34
                visible: root.reports.exporting || root.reports.capMessage.length > 0

                Label {
                    anchors.right: cancel.visible ? cancel.left : parent.right
                    anchors.rightMargin: cancel.visible ? 10 : 0
                    anchors.verticalCenter: parent.verticalCenter
                    color: root.reports.exporting ? Theme.t2 : Theme.warn
                    size: Theme.secondary
                    text: root.reports.exporting ? qsTr("Exporting, %1 %").arg(root.reports.exportPercent) : root.reports.capMessage
                    Accessible.ignored: false
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                PushButton {
                    id: cancel

                    anchors.right: parent.right
                    implicitHeight: 32
                    text: qsTr("Cancel")
                    visible: root.reports.exporting
                    Accessible.name: qsTr("Cancel the export")
                    onClicked: root.reports.cancelExport()
                }
            }
            QuestionBar {
                width: parent.width
                assistant: root.app.assistant
                visible: assistant !== null
            }
            Item {
                width: 1
                height: 16
            }
            Item {
                width: parent.width
                height: Math.max(total.height, narrative.visible ? narrative.y + narrative.height : 0) + 24

                Column {
                    id: total

                    y: 4

                    Figures {
                        quietUnits: true
                        size: Theme.reportTotal
                        text: root.reports.totalText
                        unitSize: 24
                    }
                    Item {
                        width: 1
                        height: 8
                    }
                    Label {
                        color: Theme.t2
                        size: Theme.secondary
                        text: root.reports.spanText
                        Accessible.ignored: false
                        Accessible.role: Accessible.StaticText
                        Accessible.name: root.reports.totalSpoken
                    }
                    Row {
                        spacing: 5
                        visible: root.reports.averageText.length > 0

                        Label {
                            color: Theme.t2
                            size: Theme.secondary
                            text: root.reports.averageLabel
                        }
                        Label {
                            font.weight: Font.DemiBold
                            size: Theme.secondary
                            text: root.reports.averageText
                        }
                    }
                }
                Rectangle {
                    x: total.width + 36
                    y: narrative.y
                    width: 1
                    height: narrative.height
                    color: Theme.line
                    visible: narrative.visible && !root.narrow
                }
                Item {
                    id: narrative

                    x: root.narrow ? 0 : total.width + 60
                    y: root.narrow ? total.height + 16 : Math.max(6, Math.round((total.height - height) / 2) + 4)
                    width: Math.min(560, parent.width - x)
                    height: Math.max(42, narrativeLabel.implicitHeight)
                    visible: root.reports.narrativeText.length > 0

                    Icon {
                        y: 3
                        color: Theme.accent
                        name: "stars"
                    }
                    Label {
                        id: narrativeLabel

                        x: 26
                        width: parent.width - x
                        color: Theme.t1
                        lineHeight: 21
                        text: root.reports.narrativeText
                        wrapMode: Text.Wrap
                        Accessible.ignored: false
                        Accessible.role: Accessible.StaticText
                        Accessible.name: qsTr("In words: %1").arg(text)
                    }
                }
            }
            Rectangle {
                width: parent.width
                height: 1
                color: Theme.line
            }
            Label {
                topPadding: 28
                height: 60
                color: Theme.t2
                text: qsTr("No entries in this range.")
                visible: root.reports.empty
                Accessible.ignored: !visible
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            ReportChart {
                width: parent.width
                narrow: root.narrow
                reports: root.reports
                visible: !root.reports.empty
            }
            ReportTasks {
                width: parent.width
                narrow: root.narrow
                reports: root.reports
                visible: !root.reports.empty
            }
        }
    }
}
