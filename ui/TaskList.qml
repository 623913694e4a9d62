pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The tasks of the day. One stop for Tab; its keys act on the current row.
FocusScope {
    id: root

    required property HomeModel home
    property int current: -1
    property bool keyboard: false
    // The task under the pointer or with the focus.
    property string pointedTask

    signal deleteWanted(string taskId, string title)
    signal reasonWanted(string taskId)

    function focusFilter(): void {
        filter.forceActiveFocus(Qt.ShortcutFocusReason);
        filterMenu.open();
    }
    function row(): TaskRow {
        return rows.itemAt(current) as TaskRow;
    }
    function move(by: int): void {
        keyboard = true;
        current = Math.max(0, Math.min(rows.count - 1, current + by));
        pointedTask = row() ? row().taskId : "";
    }
    function act(event: var): void {
        const task = row();
        if (!task)
            return;
        event.accepted = true;
        switch (event.key) {
        case Qt.Key_Return:
        case Qt.Key_Enter:
            if (!task.running)
                home.switchTo(task.taskId);
            break;
        case Qt.Key_D:
            home.markDone(task.taskId);
            break;
        case Qt.Key_P:
            task.openProjects();
            break;
        case Qt.Key_F2:
            task.startEditing();
            break;
        case Qt.Key_R:
            root.reasonWanted(task.taskId);
            break;
        case Qt.Key_Delete:
            root.deleteWanted(task.taskId, task.title);
            break;
        default:
            event.accepted = false;
        }
    }

    implicitHeight: 36 + list.height

    Label {
        y: 2
        font.weight: Font.DemiBold
        size: Theme.section
        text: qsTr("Tasks")
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    DropButton {
        id: filter

        anchors.right: parent.right
        y: -4
        name: qsTr("Show tasks of")
        text: root.home.filterText
        onClicked: filterMenu.open()

        ProjectMenu {
            id: filterMenu

            x: parent.width - width
            y: parent.height + 2
            after: [{
                    "id": "unassigned",
                    "text": qsTr("No project")
                }]
            before: [{
                    "id": "all",
                    "text": qsTr("All projects")
                }]
            chosenId: root.home.filterId
            name: qsTr("Project filter")
            projects: root.home.projects
            onPicked: id => root.home.chooseFilter(id)
        }
    }

    Column {
        id: list

        y: 28
        width: parent.width
        focus: true
        activeFocusOnTab: true
        objectName: "taskList"
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Tasks")
        Keys.onUpPressed: root.move(-1)
        Keys.onDownPressed: root.move(1)
        Keys.onPressed: event => root.act(event)
        onActiveFocusChanged: {
            if (activeFocus && root.current < 0 && rows.count > 0)
                root.current = 0;
            root.keyboard = activeFocus;
            if (!activeFocus)
                root.pointedTask = "";
        }

        Repeater {
            id: rows

            model: root.home.rows
            onCountChanged: root.current = Math.min(root.current, count - 1)

            delegate: TaskRow {
                width: list.width
                current: index >= 0 && root.current === index && list.activeFocus
                home: root.home
                keyboard: root.keyboard
                lineBelow: !running && index < rows.count - 1
                onChosen: {
                    root.current = index;
                    list.forceActiveFocus(Qt.MouseFocusReason);
                    root.keyboard = false;
                }
                onDeleteWanted: root.deleteWanted(taskId, title)
                onEditEnded: list.forceActiveFocus(Qt.OtherFocusReason)
                onPointed: on => root.pointedTask = on ? taskId : ""
                onReasonWanted: root.reasonWanted(taskId)
            }
        }
        Label {
            topPadding: 12
            height: 44
            color: Theme.t2
            text: qsTr("No tasks of this project on this day.")
            visible: rows.count === 0
        }
    }
}
