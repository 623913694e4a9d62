pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The projects, one stop for Tab; its keys act on the chosen row.
Column {
    id: root

    required property ProjectsModel projects
    readonly property bool showsWeeks: width >= 520
    readonly property int weekEnd: width - 108
    readonly property int weeksStart: Math.round(width * 0.33)

    signal renameWanted
    signal deleteWanted

    function step(by: int): void {
        for (let i = 0; i < rows.count; ++i) {
            if ((rows.itemAt(i) as ProjectLine).chosen) {
                root.projects.chosenId = (rows.itemAt(Math.max(0, Math.min(rows.count - 1, i + by))) as ProjectLine).projectId;
                return;
            }
        }
    }

    activeFocusOnTab: true
    objectName: "projectList"
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Projects")
    Keys.onUpPressed: step(-1)
    Keys.onDownPressed: step(1)
    Keys.onPressed: event => {
        event.accepted = true;
        if (event.key === Qt.Key_F2)
            root.renameWanted();
        else if (event.key === Qt.Key_Delete)
            root.deleteWanted();
        else if (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
            root.projects.setCurrent(!root.projects.chosenIsCurrent);
        else
            event.accepted = false;
    }

    Repeater {
        id: rows

        model: root.projects.rows

        delegate: ProjectLine {
            width: root.width
            chosen: root.projects.chosenId === projectId
            keyboard: root.activeFocus
            showsWeeks: root.showsWeeks
            weekEnd: root.weekEnd
            weeksStart: root.weeksStart
            onPicked: {
                root.projects.chosenId = projectId;
                root.forceActiveFocus(Qt.MouseFocusReason);
            }
        }
    }
}
