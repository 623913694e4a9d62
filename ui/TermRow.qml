import QtQuick
import Tolvik.Models
import Tolvik.Ui

// One term with its hint; both are edited in their place.
Item {
    id: root

    required property int index
    required property string termId
    required property string term
    required property string hint
    required property DictionaryModel dictionary
    property bool current: false
    property bool editing: false
    readonly property bool lit: pointer.hovered || current || menu.opened
    readonly property int hintStart: Math.round((width - 80) * 0.42) + 8

    signal editWanted
    signal editEnded(bool focusBack)

    height: 44
    Accessible.role: Accessible.ListItem
    Accessible.name: hint.length > 0 ? term + ", " + hint : term
    Accessible.focusable: true
    Accessible.selected: current
    Accessible.onPressAction: editWanted()

    Rectangle {
        anchors.fill: parent
        anchors.bottomMargin: 1
        radius: Theme.controlRadius
        color: Theme.hover
        opacity: root.lit && !root.editing ? 1 : 0

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.hoverMs
            }
        }
        FocusRing {
            anchors.margins: 0
            around: 4
            visible: root.current && !root.editing
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
    }
    HoverHandler {
        id: pointer
    }
    TapHandler {
        enabled: !root.editing
        onDoubleTapped: root.editWanted()
    }
    Label {
        x: 11
        width: root.hintStart - x - 12
        anchors.verticalCenter: parent.verticalCenter
        font.weight: Font.Medium
        text: root.term
        visible: !root.editing
    }
    Label {
        x: root.hintStart + 11
        width: more.x - x - 8
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.t2
        text: root.hint
        visible: !root.editing
    }
    IconButton {
        id: more

        anchors.right: parent.right
        anchors.rightMargin: -1
        anchors.verticalCenter: parent.verticalCenter
        focusPolicy: Qt.NoFocus
        iconName: "three-dots"
        name: qsTr("More for %1").arg(root.term)
        visible: !root.editing
        onClicked: menu.open()

        MenuPanel {
            id: menu

            x: parent.width - width
            y: parent.height
            contentHeight: items.height
            contentWidth: 168
            name: qsTr("More for %1").arg(root.term)
            onOpened: items.children[0].forceActiveFocus(Qt.PopupFocusReason)

            Column {
                id: items

                width: parent.width

                MenuRow {
                    iconName: "pencil"
                    text: qsTr("Edit")
                    onClicked: {
                        menu.close();
                        root.editWanted();
                    }
                }
                MenuRow {
                    dangerous: true
                    iconName: "trash"
                    text: qsTr("Delete")
                    onClicked: {
                        menu.close();
                        root.dictionary.remove(root.termId);
                    }
                }
            }
        }
    }
    Loader {
        active: root.editing
        anchors.fill: parent
        sourceComponent: FocusScope {
            id: editor

            readonly property string problem: root.dictionary.collision(termField.text, root.termId)

            function finish(keep: bool, focusBack: bool): void {
                if (!root.editing)
                    return;
                if (keep && !root.dictionary.edit(root.termId, termField.text, hintField.text))
                    return;
                root.editEnded(focusBack);
            }

            Component.onCompleted: {
                termField.forceActiveFocus(Qt.OtherFocusReason);
                termField.selectAll();
            }
            onActiveFocusChanged: if (!activeFocus && root.editing) {
                // What cannot be kept is dropped when the focus goes elsewhere.
                finish(true, false);
                finish(false, false);
            }
            Keys.onEscapePressed: finish(false, true)
            // A field hands Enter on after it was accepted; the list would open the editor again.
            Keys.onReturnPressed: {
            }
            Keys.onEnterPressed: {
            }

            Field {
                id: termField

                anchors.verticalCenter: parent.verticalCenter
                width: root.hintStart - 8
                implicitHeight: 34
                maximumLength: 200
                name: qsTr("Term")
                text: root.term
                onAccepted: editor.finish(true, true)
                Accessible.description: editor.problem
            }
            Field {
                id: hintField

                x: root.hintStart
                anchors.verticalCenter: parent.verticalCenter
                width: parent.width - x - saveButton.width - 8
                implicitHeight: 34
                maximumLength: 400
                name: qsTr("Hint")
                placeholderText: editor.problem.length > 0 ? "" : qsTr("Hint")
                text: root.hint
                onAccepted: editor.finish(true, true)
            }
            PushButton {
                id: saveButton

                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 34
                implicitWidth: 64
                enabled: termField.text.trim().length > 0 && editor.problem.length === 0
                kind: PushButton.Filled
                text: qsTr("Save")
                onClicked: editor.finish(true, true)
            }
        }
    }
}
