pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T

// The keys of the window.
T.Popup {
    id: root

    readonly property var keyList: [["Ctrl+K", qsTr("Input bar")], ["Ctrl+1", qsTr("Home")], ["Ctrl+2", qsTr("Reports")], ["Ctrl+3", qsTr("Projects")], ["Ctrl+4", qsTr("Dictionary")], ["Ctrl+,", qsTr("Settings")], ["Alt+←  Alt+→", qsTr("Day before, day after")], ["Alt+Home", qsTr("Today")], ["Ctrl+G", qsTr("Calendar")], ["Ctrl+F", qsTr("Project filter, search")], ["Ctrl+E", qsTr("Export")], ["↑  ↓", qsTr("Rows")], ["Enter", qsTr("Switch to the row's task")], ["D", qsTr("Mark it done")], ["P", qsTr("Change its project")], ["F2", qsTr("Rename it")], ["R", qsTr("Reason for the switch")], ["Delete", qsTr("Delete it")], ["←  →", qsTr("Along ribbon, days, bars")], ["Ctrl+Z", qsTr("Undo the last change")], ["Ctrl+Shift+S", qsTr("Stop")], ["Ctrl+Shift+D", qsTr("Mark done")], ["Esc", qsTr("Back out")], ["F1", qsTr("This list")]]

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 640
    padding: 24
    implicitHeight: implicitContentHeight + 2 * padding
    focus: true
    modal: true
    closePolicy: T.Popup.CloseOnEscape | T.Popup.CloseOnPressOutside

    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0.03, 0.02, Theme.scrim)
    }
    background: Rectangle {
        radius: 14
        color: Theme.raised
        border.color: Theme.line
    }
    contentItem: Column {
        spacing: 16
        Accessible.role: Accessible.Dialog
        Accessible.name: qsTr("Keys")

        Label {
            font.weight: Font.DemiBold
            size: Theme.section
            text: qsTr("Keys")
        }
        Grid {
            columns: 2
            columnSpacing: 24
            flow: Grid.TopToBottom
            rows: Math.ceil(root.keyList.length / 2)
            rowSpacing: 6

            Repeater {
                model: root.keyList

                delegate: Item {
                    id: line

                    required property var modelData

                    width: 284
                    height: 24
                    Accessible.role: Accessible.StaticText
                    Accessible.name: modelData[0] + ": " + modelData[1]

                    KeyCap {
                        anchors.verticalCenter: parent.verticalCenter
                        text: line.modelData[0]
                    }
                    Label {
                        x: 110
                        width: parent.width - x
                        anchors.verticalCenter: parent.verticalCenter
                        color: Theme.t2
                        size: Theme.secondary
                        text: line.modelData[1]
                    }
                }
            }
        }
    }
}
