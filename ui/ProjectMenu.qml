pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models
import Tolvik.Ui

// Projects to choose from, with whatever stands before and after them.
MenuPanel {
    id: root

    required property ProjectListModel projects
    property string chosenId
    // Lines before the projects and after them: objects with `id` and `text`.
    property var before: []
    property var after: []
    // Offers to make a new project.
    property bool canAdd: false

    signal picked(string id)
    signal added(string name)

    contentWidth: 208
    contentHeight: list.height
    onOpened: {
        newName.clear();
        if (list.children.length > 0)
            list.nextItemInFocusChain(true).forceActiveFocus(Qt.PopupFocusReason);
    }

    Column {
        id: list

        width: parent.width

        Repeater {
            model: root.before

            delegate: MenuRow {
                required property var modelData

                chosen: root.chosenId === modelData.id
                text: modelData.text
                onClicked: {
                    root.close();
                    root.picked(modelData.id);
                }
            }
        }
        Repeater {
            model: root.projects

            delegate: MenuRow {
                required property string projectId
                required property string name
                required colorIndex

                chosen: root.chosenId === projectId
                text: name
                onClicked: {
                    root.close();
                    root.picked(projectId);
                }
            }
        }
        Rectangle {
            width: parent.width
            height: visible ? 1 : 0
            color: Theme.line
            visible: root.after.length > 0 || root.canAdd
        }
        Repeater {
            model: root.after

            delegate: MenuRow {
                required property var modelData

                chosen: root.chosenId === modelData.id
                text: modelData.text
                onClicked: {
                    root.close();
                    root.picked(modelData.id);
                }
            }
        }
        Field {
            id: newName

            width: parent.width
            framed: false
            leftPadding: 32
            name: qsTr("Name of a new project")
            placeholderText: qsTr("New project…")
            visible: root.canAdd
            onAccepted: {
                if (text.trim().length > 0) {
                    root.close();
                    root.added(text);
                }
            }

            Icon {
                x: 9
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                name: "plus-lg"
                size: 14
            }
        }
    }
}
