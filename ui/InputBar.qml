import QtQuick
import Tolvik.Models
import Tolvik.Ui

// Where a task is started by typing.
Rectangle {
    id: root

    required property WindowModel app
    property bool compact: false
    readonly property HomeModel home: app.home

    function focusField(): void {
        field.forceActiveFocus(Qt.ShortcutFocusReason);
        field.selectAll();
    }

    implicitHeight: 44
    radius: 10
    color: Theme.page
    border.color: field.activeFocus ? Theme.accent : Theme.edge
    border.width: field.activeFocus ? 2 : 1

    Icon {
        x: 14
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.t2
        name: "plus-lg"
    }
    Field {
        id: field

        anchors.left: parent.left
        anchors.leftMargin: 42
        anchors.right: tools.left
        anchors.verticalCenter: parent.verticalCenter
        objectName: "inputField"
        font.pixelSize: Theme.body
        framed: false
        leftPadding: 0
        name: qsTr("What are you working on?")
        placeholderText: name
        maximumLength: 2000
        onAccepted: {
            if (root.home.submit(text))
                clear();
        }
        Keys.onPressed: event => {
            // With nothing typed to take back, the key means the last change, as everywhere else.
            if (event.matches(StandardKey.Undo) && text.length === 0) { // qmllint disable
                root.home.undo();
                event.accepted = true;
            }
        }
        Keys.onEscapePressed: event => {
            if (text.length > 0)
                clear();
            else
                event.accepted = false;
        }
    }
    Row {
        id: tools

        anchors.right: parent.right
        anchors.rightMargin: 6
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        DropButton {
            id: projectButton

            anchors.verticalCenter: parent.verticalCenter
            colorIndex: root.home.inputProjectColor
            hasSwatch: root.home.inputProjectId.length > 0
            name: qsTr("Choose the project of new tasks")
            text: root.home.inputProjectId.length > 0 ? root.home.inputProject : qsTr("No project")
            visible: root.home.projects !== null && projectCount.count > 0
            onClicked: projectMenu.open()

            Repeater {
                id: projectCount

                model: root.home.projects
                delegate: Item {
                }
            }
            ProjectMenu {
                id: projectMenu

                x: parent.width - width
                y: parent.height + 4
                after: [{
                        "id": "",
                        "text": qsTr("No project")
                    }]
                chosenId: root.home.inputProjectId
                name: qsTr("Project of new tasks")
                projects: root.home.projects
                onPicked: id => root.home.chooseInputProject(id)
            }
        }
        Rectangle {
            anchors.verticalCenter: parent.verticalCenter
            width: 1
            height: 20
            color: Theme.line
            visible: projectButton.visible
        }
        Item {
            anchors.verticalCenter: parent.verticalCenter
            width: caps.width + 6
            height: 20

            KeyCaps {
                id: caps

                anchors.centerIn: parent
                keys: [qsTr("Ctrl"), "K"]
            }
        }
        IconButton {
            anchors.verticalCenter: parent.verticalCenter
            iconName: root.app.pill.phase === "listening" ? "mic-fill" : "mic"
            iconSize: 18
            name: root.app.pill.phase === "listening" ? qsTr("Stop listening") : qsTr("Speak")
            tint: root.app.pill.phase === "listening" ? Theme.accent : Theme.t2
            enabled: root.app.settings.voiceEnabled
            onClicked: root.app.toggleVoice()
        }
    }
}
