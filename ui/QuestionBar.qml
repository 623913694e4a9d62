pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models
import Tolvik.Ui

// A question about the log, its answer, and the tasks that the answer rests on.
Column {
    id: root

    // Null where nobody answers.
    property AssistantModel assistant: null
    readonly property string answerText: assistant ? assistant.answer : ""
    readonly property bool asking: assistant !== null && assistant.busy
    readonly property bool failed: assistant !== null && assistant.failed
    property bool expanded: false
    readonly property int few: 4

    function submit(): void {
        if (assistant && assistant.ask(field.text))
            expanded = false;
    }

    Rectangle {
        width: parent.width
        height: 44
        radius: 10
        color: Theme.page
        border.color: field.activeFocus ? Theme.accent : Theme.edge
        border.width: field.activeFocus ? 2 : 1

        Icon {
            x: 14
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.accent
            name: "stars"
        }
        Field {
            id: field

            anchors.left: parent.left
            anchors.leftMargin: 42
            anchors.right: busy.visible ? busy.left : send.left
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            font.pixelSize: Theme.body
            framed: false
            leftPadding: 0
            maximumLength: 500
            name: qsTr("Ask about your time")
            objectName: "questionField"
            placeholderText: qsTr("How much time on Tolvik last week?")
            onAccepted: root.submit()
            Keys.onEscapePressed: event => {
                event.accepted = text.length > 0 || root.answerText.length > 0;
                clear();
                root.assistant.dismiss();
            }
        }
        Label {
            id: busy

            anchors.right: send.left
            anchors.rightMargin: 8
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t2
            size: Theme.secondary
            text: qsTr("Looking it up…")
            visible: root.asking
            Accessible.ignored: !visible
            Accessible.role: Accessible.StatusBar
            Accessible.name: text
        }
        IconButton {
            id: send

            anchors.right: parent.right
            anchors.rightMargin: 6
            anchors.verticalCenter: parent.verticalCenter
            enabled: !root.asking && field.text.trim().length > 0
            iconName: "send"
            name: qsTr("Ask")
            tint: Theme.accent
            onClicked: root.submit()
        }
    }
    // While the next question is answered the last answer stays, paler.
    Item {
        width: parent.width
        height: visible ? answer.height + 20 : 0
        visible: root.answerText.length > 0
        opacity: root.asking ? 0.5 : 1

        Column {
            id: answer

            x: 42
            y: 14
            width: Math.min(parent.width - x - 44, 760)

            Label {
                width: parent.width
                color: root.failed ? Theme.t2 : Theme.t1
                lineHeight: 21
                objectName: "assistantAnswer"
                text: root.answerText
                wrapMode: Text.Wrap
                Accessible.ignored: false
                Accessible.role: root.failed ? Accessible.AlertMessage : Accessible.StaticText
                Accessible.name: text
            }
            Item {
                width: 1
                height: 6
                visible: list.count > 0
            }
            Column {
                id: list

                property int current: -1
                readonly property int count: rows.count
                readonly property int shown: root.expanded ? rows.count : Math.min(rows.count, root.few)

                function open(index: int): void {
                    root.assistant.showCitation(index);
                }

                width: parent.width
                activeFocusOnTab: rows.count > 0
                objectName: "citations"
                Accessible.role: Accessible.List
                Accessible.name: qsTr("Tasks in the answer")
                Keys.onUpPressed: current = Math.max(0, current - 1)
                Keys.onDownPressed: current = Math.min(shown - 1, current + 1)
                Keys.onReturnPressed: open(current)
                Keys.onEnterPressed: open(current)
                onActiveFocusChanged: if (activeFocus && (current < 0 || current >= shown))
                    current = 0

                Repeater {
                    id: rows

                    model: root.assistant ? root.assistant.citations : null

                    delegate: CitationRow {
                        width: list.width
                        visible: index < list.shown
                    }
                }
            }
            PushButton {
                implicitHeight: 32
                kind: PushButton.Plain
                text: qsTr("Show %1 more").arg(rows.count - root.few)
                visible: rows.count > list.shown
                onClicked: root.expanded = true
            }
        }
        IconButton {
            anchors.right: parent.right
            anchors.rightMargin: 6
            y: 8
            iconName: "x-lg"
            iconSize: 14
            name: qsTr("Close the answer")
            onClicked: root.assistant.dismiss()
        }
    }

    component CitationRow: Item {
        id: row

        required property int index
        required property string title
        required property int colorIndex
        required property string lengthText
        required property bool known
        required property string spoken

        height: 34
        Accessible.role: Accessible.ListItem
        Accessible.name: spoken
        Accessible.focusable: true
        Accessible.focused: list.current === index && list.activeFocus
        Accessible.onPressAction: list.open(index)

        Rectangle {
            anchors.fill: parent
            anchors.leftMargin: -8
            anchors.rightMargin: -8
            radius: Theme.controlRadius
            color: Theme.hover
            opacity: pointer.hovered && row.known ? 1 : 0
        }
        FocusRing {
            anchors.leftMargin: -10
            anchors.margins: -2
            anchors.rightMargin: -10
            around: 6
            visible: list.current === row.index && list.activeFocus
        }
        Rectangle {
            anchors.bottom: parent.bottom
            width: parent.width
            height: 1
            color: Theme.line
        }
        Swatch {
            anchors.verticalCenter: parent.verticalCenter
            colorIndex: row.colorIndex
            implicitWidth: 10
        }
        Label {
            x: 22
            width: parent.width - x - 90
            anchors.verticalCenter: parent.verticalCenter
            text: row.title
        }
        Figures {
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            quietUnits: true
            text: row.lengthText
        }
        HoverHandler {
            id: pointer

            cursorShape: row.known ? Qt.PointingHandCursor : Qt.ArrowCursor
        }
        TapHandler {
            onTapped: list.open(row.index)
        }
    }
}
