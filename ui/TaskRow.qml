import QtQuick
import Tolvik.Models
import Tolvik.Ui

// One task of the day: its bar and, under the pointer or with the focus, what can be done with it.
Item {
    id: root

    required property int index
    required property string taskId
    required property string title
    required property int colorIndex
    required property string project
    required property int projectColor
    required property string lengthText
    required property real share
    required property bool running
    required property bool done
    required property string spoken

    required property HomeModel home
    property bool current: false
    property bool keyboard: false
    property bool editing: false
    // Lines between rows are left out beside a filled row.
    property bool lineBelow: false
    readonly property bool lit: pointer.hovered || current || moreMenu.opened || projectMenu.opened
    readonly property int barStart: Math.round(width * 0.67)

    signal chosen
    signal deleteWanted
    signal reasonWanted
    signal editEnded
    signal pointed(bool on)

    function openProjects(): void {
        projectMenu.open();
    }
    function startEditing(): void {
        editing = true;
    }
    function endEditing(keep: bool): void {
        if (!editing)
            return;
        // The editor goes with the flag.
        const title = (editor.item as Field).text;
        editing = false;
        if (keep)
            home.rename(taskId, title);
        editEnded();
    }

    height: 44
    Accessible.role: Accessible.ListItem
    Accessible.name: spoken
    Accessible.focusable: true
    Accessible.focused: current && keyboard
    Accessible.selected: current
    Accessible.onPressAction: if (!running)
        home.switchTo(taskId)

    HoverHandler {
        id: pointer

        onHoveredChanged: root.pointed(hovered)
    }
    TapHandler {
        onTapped: root.chosen()
        onDoubleTapped: if (!root.running)
            root.home.switchTo(root.taskId)
    }

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: -10
        anchors.rightMargin: -10
        radius: 8
        color: root.running ? Theme.soft : Theme.hover
        opacity: root.running || root.lit ? 1 : 0
        border.width: Theme.highContrast && root.running ? 2 : 0
        border.color: Theme.accent

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.hoverMs
            }
        }
        FocusRing {
            anchors.margins: -2
            around: 6
            visible: root.current && root.keyboard
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
        visible: root.lineBelow && !root.lit
    }

    Swatch {
        x: 4
        anchors.verticalCenter: parent.verticalCenter
        colorIndex: root.colorIndex
        visible: !root.done
    }
    Icon {
        x: 2
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.taskColor(root.colorIndex)
        name: "check-circle-fill"
        visible: root.done
    }
    Label {
        anchors.left: parent.left
        anchors.leftMargin: 32
        anchors.right: projectRow.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        color: root.done ? Theme.t2 : Theme.t1
        font.weight: root.running ? Font.DemiBold : Font.Normal
        text: root.title
        visible: !root.editing
    }
    Loader {
        id: editor

        active: root.editing
        anchors.left: parent.left
        anchors.leftMargin: 24
        anchors.right: projectRow.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        sourceComponent: Field {
            implicitHeight: 34
            leftPadding: 8
            font.pixelSize: Theme.body
            name: qsTr("Title of %1").arg(root.title)
            text: root.title
            Component.onCompleted: {
                forceActiveFocus(Qt.OtherFocusReason);
                selectAll();
            }
            onAccepted: root.endEditing(true)
            onActiveFocusChanged: if (!activeFocus)
                root.endEditing(true)
            Keys.onEscapePressed: root.endEditing(false)
        }
    }
    Row {
        id: projectRow

        x: root.barStart - width
        width: Math.round(root.width * 0.18)
        anchors.verticalCenter: parent.verticalCenter
        spacing: 7

        Swatch {
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: root.projectColor
            project: true
            visible: root.project.length > 0
        }
        Label {
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width - 20
            color: Theme.t2
            size: Theme.secondary
            text: root.project.length > 0 ? root.project : qsTr("No project")
        }
    }

    Item {
        id: barArea

        x: root.barStart
        width: figures.x - x - 24
        height: parent.height

        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: root.share > 0 ? Math.max(6, Math.round(parent.width * root.share)) : 0
            height: 6
            radius: 3
            color: Theme.taskColor(root.colorIndex)
            opacity: actions.active ? 0 : 1
            border.width: Theme.highContrast ? 1 : 0
            border.color: Theme.ink
        }
    }
    Loader {
        id: actions

        active: root.lit && !root.editing
        x: root.barStart
        anchors.verticalCenter: parent.verticalCenter
        sourceComponent: Row {
            spacing: 0

            PushButton {
                implicitHeight: 32
                implicitWidth: 64
                focusPolicy: Qt.NoFocus
                text: root.done ? qsTr("Reopen") : qsTr("Switch")
                visible: !root.running
                Accessible.name: qsTr("Switch to %1").arg(root.title)
                onClicked: root.home.switchTo(root.taskId)
            }
            PushButton {
                implicitHeight: 32
                implicitWidth: 64
                focusPolicy: Qt.NoFocus
                text: qsTr("Stop")
                visible: root.running
                Accessible.name: qsTr("Stop %1").arg(root.title)
                onClicked: root.home.stop()
            }
            IconButton {
                focusPolicy: Qt.NoFocus
                iconName: "check2"
                name: qsTr("Mark %1 done").arg(root.title)
                visible: !root.done
                onClicked: root.home.markDone(root.taskId)
            }
            IconButton {
                focusPolicy: Qt.NoFocus
                iconName: "three-dots"
                name: qsTr("More for %1").arg(root.title)
                onClicked: moreMenu.open()
            }
        }
    }
    Figures {
        id: figures

        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        color: root.lengthText === "–" ? Theme.t2 : Theme.t1
        quietUnits: true
        text: root.lengthText
        width: 56
        weight: root.running ? Font.DemiBold : Font.Medium
        layoutRight: true
    }

    MenuPanel {
        id: moreMenu

        x: root.barStart
        y: root.height - 4
        contentHeight: items.height
        contentWidth: 200
        name: qsTr("More for %1").arg(root.title)
        onOpened: items.children[0].forceActiveFocus(Qt.PopupFocusReason)

        Column {
            id: items

            width: parent.width

            MenuRow {
                iconName: "pencil"
                text: qsTr("Rename")
                onClicked: {
                    moreMenu.close();
                    root.startEditing();
                }
            }
            MenuRow {
                iconName: "folder2"
                text: qsTr("Change project…")
                onClicked: {
                    moreMenu.close();
                    projectMenu.open();
                }
            }
            MenuRow {
                iconName: "arrow-right"
                text: qsTr("Reason for the switch…")
                onClicked: {
                    moreMenu.close();
                    root.reasonWanted();
                }
            }
            MenuRow {
                dangerous: true
                iconName: "trash"
                text: qsTr("Delete…")
                onClicked: {
                    moreMenu.close();
                    root.deleteWanted();
                }
            }
        }
    }
    ProjectMenu {
        id: projectMenu

        x: projectRow.x - 12
        y: root.height - 4
        after: root.project.length > 0 ? [{
                "id": "-",
                "text": qsTr("Remove from project")
            }] : []
        canAdd: true
        name: qsTr("Project of %1").arg(root.title)
        projects: root.home.projects
        onAdded: name => root.home.setNewProject(root.taskId, name)
        onPicked: id => root.home.setProject(root.taskId, id === "-" ? "" : id)
    }
}
