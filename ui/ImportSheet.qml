pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// Many terms at once, pasted as JSON or as lines.
SheetPanel {
    id: root

    required property DictionaryModel dictionary
    required property ProjectListModel projects

    function submit(): void {
        if (dictionary.importCount > 0) {
            dictionary.import();
            close();
        }
    }

    name: qsTr("Import terms")
    width: Math.min(582, parent ? parent.width - 32 : 582)
    onOpened: paste.forceActiveFocus(Qt.PopupFocusReason)

    contentItem: Column {
        id: content

        spacing: 0

        Item {
            width: parent.width
            height: 40

            Label {
                y: -2
                font.weight: Font.DemiBold
                size: 18
                text: qsTr("Import terms")
                Accessible.ignored: false
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            IconButton {
                anchors.right: parent.right
                anchors.rightMargin: -8
                y: -6
                iconName: "x-lg"
                name: qsTr("Close")
                onClicked: root.close()
            }
        }
        Row {
            spacing: 12

            Label {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                text: qsTr("Add to")
            }
            DropButton {
                colorIndex: root.dictionary.colorOf(root.dictionary.importTargetId)
                framed: true
                hasSwatch: root.dictionary.importTargetId.length > 0
                name: qsTr("Add to")
                text: root.dictionary.importTargetName
                onClicked: menu.open()

                ProjectMenu {
                    id: menu

                    y: parent.height + 4
                    before: [{
                            "id": "",
                            "text": qsTr("Personal")
                        }]
                    chosenId: root.dictionary.importTargetId
                    name: qsTr("Add to")
                    projects: root.projects
                    onPicked: id => root.dictionary.importTargetId = id
                }
            }
        }
        Item {
            width: 1
            height: 16
        }
        Repeater {
            model: root.dictionary.importHelp

            delegate: Label {
                required property int index
                required property string modelData

                width: content.width
                color: index === 0 ? Theme.t2 : Theme.t1
                font.family: index === 0 ? Theme.family : "monospace"
                lineHeight: 21
                size: Theme.secondary
                text: modelData
                wrapMode: Text.WrapAnywhere
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        Item {
            width: 1
            height: 14
        }
        Rectangle {
            width: parent.width
            height: 168
            radius: Theme.controlRadius
            color: Theme.page
            border.color: paste.activeFocus ? Theme.accent : Theme.edge
            border.width: paste.activeFocus ? 2 : 1

            Flickable {
                id: flick

                anchors.fill: parent
                anchors.margins: 2
                boundsBehavior: Flickable.StopAtBounds
                clip: true

                T.ScrollBar.vertical: ScrollBar {
                }
                T.TextArea.flickable: PasteArea {
                    id: paste

                    name: qsTr("Terms to import")
                    readOnly: root.dictionary.importIsLong
                    takesPaste: (before, after) => root.dictionary.pasteLong(before, after)
                    text: root.dictionary.importShown
                    onCleared: root.dictionary.importText = ""
                    onTextChanged: if (!root.dictionary.importIsLong)
                        root.dictionary.importText = text
                    onSubmitted: root.submit()
                }
            }
        }
        Label {
            topPadding: 6
            width: parent.width
            color: Theme.warn
            size: Theme.caption
            text: root.dictionary.importProblem
            visible: text.length > 0
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        Item {
            width: parent.width
            height: 54

            Label {
                anchors.bottom: parent.bottom
                anchors.bottomMargin: 8
                anchors.left: parent.left
                anchors.right: buttons.left
                anchors.rightMargin: 12
                color: Theme.t2
                maximumLineCount: 2
                size: Theme.secondary
                text: root.dictionary.importCountText
                wrapMode: Text.Wrap
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Row {
                id: buttons

                anchors.bottom: parent.bottom
                anchors.right: parent.right
                spacing: 10

                PushButton {
                    text: qsTr("Clear")
                    visible: root.dictionary.importIsLong
                    Accessible.name: qsTr("Clear the pasted text")
                    onClicked: root.dictionary.importText = ""
                }
                PushButton {
                    text: qsTr("Cancel")
                    onClicked: root.close()
                }
                PushButton {
                    enabled: root.dictionary.importCount > 0
                    kind: PushButton.Filled
                    text: root.dictionary.importCount === 1 ? qsTr("Import 1 entry") : qsTr("Import %1 entries").arg(root.dictionary.importCount)
                    onClicked: root.submit()
                }
            }
        }
    }
}
