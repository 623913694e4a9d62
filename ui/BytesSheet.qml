import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// Bytes as they are, to be read and copied.
SheetPanel {
    id: root

    property string heading
    property string note
    property string bytes

    name: heading
    width: Math.min(720, parent ? parent.width - 32 : 720)
    onOpened: area.forceActiveFocus(Qt.PopupFocusReason)

    contentItem: Column {
        spacing: 12

        Label {
            width: parent.width
            font.weight: Font.DemiBold
            size: Theme.section
            text: root.heading
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Label {
            width: parent.width
            color: Theme.t2
            text: root.note
            visible: text.length > 0
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Rectangle {
            width: parent.width
            height: Math.min(280, (root.parent ? root.parent.height : 520) - 260)
            radius: Theme.controlRadius
            color: Theme.page
            border.color: area.activeFocus ? Theme.accent : Theme.edge
            border.width: area.activeFocus ? 2 : 1

            Flickable {
                anchors.fill: parent
                anchors.margins: 2
                boundsBehavior: Flickable.StopAtBounds
                clip: true

                T.ScrollBar.vertical: ScrollBar {
                }
                T.TextArea.flickable: T.TextArea {
                    id: area

                    color: Theme.t1
                    font.family: "monospace"
                    font.pixelSize: Theme.caption
                    leftPadding: 10
                    rightPadding: 10
                    topPadding: 8
                    bottomPadding: 8
                    readOnly: true
                    renderType: Theme.textRendering
                    selectByMouse: true
                    selectedTextColor: Theme.accentInk
                    selectionColor: Theme.accent
                    text: root.bytes
                    textFormat: TextEdit.PlainText
                    wrapMode: TextEdit.WrapAnywhere
                    Accessible.role: Accessible.EditableText
                    Accessible.name: root.heading
                    Accessible.readOnly: true
                    KeyNavigation.priority: KeyNavigation.BeforeItem
                    KeyNavigation.tab: copy
                }
            }
        }
        Row {
            anchors.right: parent.right
            spacing: 8

            PushButton {
                id: copy

                text: qsTr("Copy")
                KeyNavigation.tab: close
                onClicked: {
                    area.selectAll();
                    area.copy();
                    area.deselect();
                }
            }
            PushButton {
                id: close

                kind: PushButton.Filled
                text: qsTr("Close")
                KeyNavigation.tab: area
                onClicked: root.close()
            }
        }
    }
}
