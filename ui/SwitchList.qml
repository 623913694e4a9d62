import QtQuick
import Tolvik.Models

// The day's switches and why they were made; a reason is edited in its place.
FocusScope {
    id: root

    objectName: "switchList"

    required property HomeModel home
    property int current: -1
    property int editing: -1

    function edit(index: int): void {
        current = index;
        editing = index;
    }
    function editReasonOf(taskId: string): void {
        const index = home.switches.latestInto(taskId);
        if (index >= 0)
            edit(index);
    }

    implicitHeight: 38 + list.height

    Label {
        y: 2
        font.weight: Font.DemiBold
        size: Theme.section
        text: qsTr("Switches")
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Label {
        anchors.right: parent.right
        color: Theme.t2
        size: Theme.secondary
        text: rows.count > 0 ? rows.count : ""
    }
    Label {
        y: 34
        color: Theme.t3
        size: Theme.secondary
        text: qsTr("No switches yet.")
        visible: rows.count === 0
    }

    Column {
        id: list

        y: 34
        width: parent.width
        focus: true
        activeFocusOnTab: rows.count > 0
        spacing: 10
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Switches")
        Keys.onUpPressed: root.current = Math.max(0, root.current - 1)
        Keys.onDownPressed: root.current = Math.min(rows.count - 1, root.current + 1)
        Keys.onReturnPressed: root.edit(root.current)
        Keys.onPressed: event => {
            if (event.key === Qt.Key_R) {
                root.edit(root.current);
                event.accepted = true;
            }
        }
        onActiveFocusChanged: if (activeFocus && root.current < 0)
            root.current = 0

        Repeater {
            id: rows

            model: root.home.switches

            delegate: Item {
                id: row

                required property int index
                required property string logId
                required property string time
                required property string title
                required property string reason
                // A row that is being removed has the index -1, which also stands for "none".
                readonly property bool editing: index >= 0 && root.editing === index
                readonly property bool chosen: index >= 0 && root.current === index && list.activeFocus

                width: list.width
                height: editing ? 80 : 42
                Accessible.role: Accessible.ListItem
                Accessible.name: qsTr("%1, switched to %2").arg(time).arg(title) + (reason.length > 0 ? ", " + reason : "")
                Accessible.onPressAction: root.edit(index)

                Rectangle {
                    anchors.fill: parent
                    anchors.margins: -4
                    radius: 8
                    color: Theme.hover
                    opacity: pointer.hovered && !row.editing ? 1 : 0

                    Behavior on opacity  {
                        NumberAnimation {
                            duration: Theme.hoverMs
                        }
                    }
                }
                FocusRing {
                    around: 6
                    visible: row.chosen && !row.editing
                }
                HoverHandler {
                    id: pointer
                }
                TapHandler {
                    enabled: !row.editing
                    onTapped: root.edit(row.index)
                }
                Figures {
                    color: Theme.t2
                    size: Theme.secondary
                    text: row.time
                    weight: Font.Normal
                }
                Label {
                    x: 52
                    width: parent.width - x
                    font.weight: Font.Medium
                    size: Theme.secondary
                    text: row.title
                }
                Label {
                    x: 52
                    y: 21
                    width: parent.width - x
                    color: row.reason.length > 0 ? Theme.t2 : Theme.t3
                    size: row.editing ? Theme.caption : Theme.secondary
                    text: row.editing ? qsTr("Why did you switch?") : row.reason.length > 0 ? row.reason : qsTr("Add a reason")
                }
                Loader {
                    active: row.editing
                    x: 52
                    y: 44
                    width: parent.width - x
                    sourceComponent: Field {
                        id: field

                        function finish(keep: bool): void {
                            if (root.editing !== row.index)
                                return;
                            if (keep && text !== row.reason)
                                root.home.setReason(row.logId, text);
                            root.editing = -1;
                            list.forceActiveFocus(Qt.OtherFocusReason);
                        }

                        implicitHeight: 36
                        rightPadding: 40
                        name: qsTr("Why did you switch?")
                        text: row.reason
                        Component.onCompleted: {
                            forceActiveFocus(Qt.OtherFocusReason);
                            cursorPosition = length;
                        }
                        onAccepted: finish(true)
                        onActiveFocusChanged: if (!activeFocus)
                            finish(true)
                        Keys.onEscapePressed: finish(false)

                        KeyCap {
                            anchors.right: parent.right
                            anchors.rightMargin: 11
                            anchors.verticalCenter: parent.verticalCenter
                            implicitWidth: 22
                            text: "↵"
                        }
                    }
                }
            }
        }
    }
}
