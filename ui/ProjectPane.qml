pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// One project: its name, whether it is the current one, its open tasks, its terms, and its end.
Column {
    id: root

    required property ProjectsModel projects

    signal deleteWanted
    signal dictionaryWanted

    function editName(): void {
        nameField.forceActiveFocus(Qt.ShortcutFocusReason);
        nameField.selectAll();
    }

    spacing: 0
    Accessible.role: Accessible.Pane
    Accessible.name: projects.chosenName

    component Rule: Rectangle {
        width: parent ? parent.width : 0
        height: 1
        color: Theme.line
    }

    Label {
        height: 23
        color: Theme.t2
        size: Theme.caption
        text: qsTr("Name")
        verticalAlignment: Text.AlignTop
    }
    Field {
        id: nameField

        function keep(): void {
            if (text.trim().length === 0 || !root.projects.rename(text))
                text = root.projects.chosenName;
        }

        width: parent.width
        font.pixelSize: Theme.body
        leftPadding: 30
        maximumLength: 200
        name: qsTr("Name of the project")
        onAccepted: keep()
        onActiveFocusChanged: if (!activeFocus)
            keep()
        Keys.onEscapePressed: {
            text = root.projects.chosenName;
            focus = false;
        }

        // The field is typed into, so a binding of its text would not last.
        Connections {
            target: root.projects

            function onChanged(): void {
                if (!nameField.activeFocus)
                    nameField.text = root.projects.chosenName;
            }
        }
        Component.onCompleted: text = root.projects.chosenName

        Swatch {
            x: 11
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: root.projects.chosenColor
            implicitWidth: 12
            project: true
            radius: 3
        }
    }
    Item {
        width: parent.width
        height: 92

        Label {
            y: 18
            font.weight: Font.Medium
            text: qsTr("Current project")
        }
        Label {
            y: 37
            width: parent.width - 64
            color: Theme.t2
            lineHeight: 18
            size: Theme.secondary
            text: qsTr("New tasks go here, and its words help dictation.")
            wrapMode: Text.Wrap
        }
        Toggle {
            anchors.right: parent.right
            y: 30
            name: qsTr("Current project")
            on: root.projects.chosenIsCurrent
            onWanted: on => root.projects.setCurrent(on)
        }
    }
    Rule {
    }
    Item {
        width: parent.width
        height: 46

        Label {
            y: 18
            font.weight: Font.DemiBold
            size: Theme.section
            text: qsTr("Open tasks")
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: qsTr("Open tasks, %1").arg(root.projects.openTasks)
        }
        Label {
            anchors.right: parent.right
            y: 18
            color: Theme.t2
            size: Theme.secondary
            text: root.projects.openTasks
        }
    }
    Column {
        id: taskColumn

        width: parent.width
        Accessible.role: Accessible.List
        Accessible.name: qsTr("Open tasks")

        Repeater {
            model: root.projects.tasks

            delegate: Item {
                id: task

                required property string title
                required property int colorIndex
                required property string lengthText
                required property string spoken

                width: taskColumn.width
                height: 34
                Accessible.role: Accessible.ListItem
                Accessible.name: spoken

                Swatch {
                    anchors.verticalCenter: parent.verticalCenter
                    colorIndex: task.colorIndex
                    implicitWidth: 10
                }
                Label {
                    x: 22
                    width: parent.width - x - total.width - 12
                    anchors.verticalCenter: parent.verticalCenter
                    text: task.title
                }
                Figures {
                    id: total

                    anchors.right: parent.right
                    anchors.verticalCenter: parent.verticalCenter
                    color: task.lengthText === "–" ? Theme.t2 : Theme.t1
                    quietUnits: true
                    text: task.lengthText
                }
            }
        }
        Label {
            height: 34
            color: Theme.t2
            text: qsTr("No open tasks.")
            visible: root.projects.openTasks === 0
        }
    }
    Item {
        width: 1
        height: 12
    }
    Rule {
    }
    T.AbstractButton {
        id: dictionaryButton

        width: parent.width
        implicitHeight: 48
        hoverEnabled: true
        focusPolicy: Qt.TabFocus
        Accessible.role: Accessible.Button
        Accessible.name: qsTr("Dictionary of %1, %2").arg(root.projects.chosenName).arg(root.projects.termsText)
        Accessible.onPressAction: clicked()
        Keys.onReturnPressed: clicked()
        Keys.onEnterPressed: clicked()
        onClicked: root.dictionaryWanted()

        background: Rectangle {
            anchors.fill: parent
            anchors.leftMargin: -8
            anchors.rightMargin: -8
            radius: Theme.controlRadius
            color: dictionaryButton.hovered ? Theme.hover : "transparent"

            FocusRing {
                anchors.margins: -2
                around: 6
                visible: dictionaryButton.visualFocus
            }
        }
        contentItem: Item {
            Label {
                anchors.verticalCenter: parent.verticalCenter
                font.weight: Font.DemiBold
                size: Theme.section
                text: qsTr("Dictionary")
            }
            Row {
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                spacing: 8

                Label {
                    color: Theme.accent
                    font.weight: Font.Medium
                    size: Theme.secondary
                    text: root.projects.termsText
                }
                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.accent
                    name: "chevron-right"
                    size: 12
                }
            }
        }
    }
    Rule {
    }
    Item {
        width: 1
        height: 14
    }
    PushButton {
        iconName: "trash"
        implicitHeight: 32
        kind: PushButton.DangerOutlined
        text: qsTr("Delete project")
        Accessible.name: qsTr("Delete the project %1").arg(root.projects.chosenName)
        onClicked: root.deleteWanted()
    }
    Label {
        topPadding: 6
        width: parent.width
        color: Theme.t2
        size: Theme.secondary
        text: qsTr("Its tasks stay, without a project.")
        height: implicitHeight + 6
    }
}
