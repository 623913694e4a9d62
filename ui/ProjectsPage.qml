pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models

// The projects with their last weeks; one of them in a pane at the right, below where the window is narrow.
FocusScope {
    id: root

    required property WindowModel app
    property bool compact: false
    readonly property ProjectsModel projects: app.projects
    readonly property int margin: compact ? 20 : 32
    readonly property bool narrow: width < 860
    readonly property int paneWidth: 332
    readonly property bool creating: newRow.visible
    readonly property int listWidth: narrow ? width - 2 * margin : width - paneWidth - margin - 40

    signal deleteWanted
    signal dictionaryWanted(string projectId)

    function startCreating(): void {
        newRow.visible = true;
        newName.clear();
        newName.forceActiveFocus(Qt.OtherFocusReason);
    }
    function endCreating(keep: bool): void {
        if (!newRow.visible || (keep && !projects.create(newName.text)))
            return;
        newRow.visible = false;
        list.forceActiveFocus(Qt.OtherFocusReason);
    }

    Binding {
        target: root.projects
        property: "live"
        value: root.visible && root.app.home.live
        restoreMode: Binding.RestoreNone
    }
    Component.onDestruction: projects.live = false

    Flickable {
        id: flick

        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: (root.narrow ? pane.y + pane.implicitHeight : listArea.y + listArea.height) + 32
        contentWidth: width

        T.ScrollBar.vertical: ScrollBar {
        }

        PageTitle {
            x: root.margin
            y: 28
            text: qsTr("Projects")
        }
        PushButton {
            anchors.right: parent.right
            anchors.rightMargin: root.margin
            y: 24
            iconName: "plus-lg"
            kind: PushButton.Filled
            text: qsTr("New project")
            // Where there is nothing yet, the page itself offers it.
            visible: !root.projects.empty
            onClicked: root.startCreating()
        }

        Item {
            id: listArea

            x: root.margin
            y: 76
            width: root.listWidth
            height: column.height

            Column {
                id: column

                width: parent.width

                Item {
                    id: heads

                    width: parent.width
                    height: 24
                    visible: !root.projects.empty

                    Label {
                        x: 30
                        color: Theme.t2
                        size: Theme.caption
                        text: qsTr("Project")
                    }
                    Label {
                        x: list.weeksStart
                        color: Theme.t2
                        size: Theme.caption
                        text: qsTr("Last 12 weeks")
                        visible: list.showsWeeks
                    }
                    Label {
                        x: list.weekEnd - implicitWidth
                        color: Theme.t2
                        size: Theme.caption
                        text: qsTr("This week")
                    }
                    Label {
                        anchors.right: parent.right
                        color: Theme.t2
                        size: Theme.caption
                        text: qsTr("In total")
                    }
                }
                Item {
                    id: newRow

                    width: parent.width
                    height: 56
                    visible: false

                    Field {
                        id: newName

                        anchors.left: parent.left
                        anchors.right: createButton.left
                        anchors.rightMargin: 8
                        anchors.verticalCenter: parent.verticalCenter
                        maximumLength: 200
                        name: qsTr("Name of the new project")
                        placeholderText: name
                        onAccepted: root.endCreating(true)
                        Keys.onEscapePressed: root.endCreating(false)
                    }
                    PushButton {
                        id: createButton

                        anchors.right: cancelButton.left
                        anchors.rightMargin: 8
                        anchors.verticalCenter: parent.verticalCenter
                        enabled: newName.text.trim().length > 0
                        kind: PushButton.Filled
                        text: qsTr("Create")
                        Accessible.name: qsTr("Create the project")
                        onClicked: root.endCreating(true)
                    }
                    PushButton {
                        id: cancelButton

                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        text: qsTr("Cancel")
                        onClicked: root.endCreating(false)
                    }
                }
                ProjectRows {
                    id: list

                    width: parent.width
                    focus: true
                    projects: root.projects
                    visible: !root.projects.empty
                    onDeleteWanted: root.deleteWanted()
                    onRenameWanted: pane.editName()
                }
                Item {
                    width: parent.width
                    height: 56
                    visible: root.projects.untaggedText.length > 0 && !root.projects.empty
                    Accessible.role: Accessible.StaticText
                    Accessible.name: qsTr("Untagged, %1").arg(root.projects.untaggedText)

                    Swatch {
                        anchors.verticalCenter: parent.verticalCenter
                        project: true
                        implicitWidth: 12
                        radius: 3
                    }
                    Label {
                        x: 30
                        y: 9
                        font.weight: Font.Medium
                        text: qsTr("Untagged")
                    }
                    Label {
                        x: 30
                        y: 28
                        color: Theme.t2
                        size: Theme.secondary
                        text: root.projects.untaggedText
                    }
                }
                Column {
                    width: parent.width
                    spacing: 16
                    topPadding: 8
                    visible: root.projects.empty && !root.creating

                    Label {
                        width: parent.width
                        color: Theme.t2
                        text: qsTr("Projects gather tasks and show where the weeks went.")
                        wrapMode: Text.Wrap
                        Accessible.ignored: !visible
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                    PushButton {
                        iconName: "plus-lg"
                        text: qsTr("New project")
                        onClicked: root.startCreating()
                    }
                }
            }
        }
        Rectangle {
            x: parent.width - root.paneWidth
            y: 60
            width: 1
            height: Math.max(flick.height - y, 560)
            color: Theme.line
            visible: !root.narrow && !root.projects.empty
        }
        ProjectPane {
            id: pane

            x: root.narrow ? root.margin : parent.width - width - root.margin
            y: root.narrow ? listArea.y + listArea.height + 20 : 76
            width: root.narrow ? parent.width - 2 * root.margin : root.paneWidth - root.margin - 29
            projects: root.projects
            visible: root.projects.chosenId.length > 0
            onDeleteWanted: root.deleteWanted()
            onDictionaryWanted: root.dictionaryWanted(root.projects.chosenId)
        }
    }
}
