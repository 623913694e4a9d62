import QtQuick

// What was just done, with Undo, for a few seconds.
Rectangle {
    id: root

    property string text
    property bool offersUndo: false
    property int lifeMs: 6000

    signal undo
    signal dismissed

    // Kept while it fades out.
    property string shownText

    onTextChanged: {
        if (text.length > 0) {
            shownText = text;
            life.restart();
        }
    }

    implicitWidth: row.implicitWidth + 28
    implicitHeight: 44
    radius: 12
    color: Theme.dark ? "#E8EEEB" : "#13201C"
    opacity: text.length > 0 ? 1 : 0
    visible: opacity > 0
    Accessible.role: Accessible.AlertMessage
    Accessible.name: shownText
    Accessible.ignored: text.length === 0

    readonly property color ink: Theme.dark ? "#13201C" : "#FFFFFF"

    Behavior on opacity  {
        NumberAnimation {
            duration: root.text.length > 0 ? Theme.enterMs : Theme.exitMs
        }
    }
    Timer {
        id: life

        interval: root.lifeMs
        running: root.text.length > 0 && !pointer.hovered && !button.activeFocus
        onTriggered: root.dismissed()
    }
    HoverHandler {
        id: pointer
    }
    Row {
        id: row

        anchors.centerIn: parent
        spacing: 16

        Label {
            anchors.verticalCenter: parent.verticalCenter
            width: Math.min(implicitWidth, 420)
            color: root.ink
            size: Theme.secondary
            text: root.shownText
        }
        PushButton {
            id: button

            anchors.verticalCenter: parent.verticalCenter
            implicitHeight: 32
            kind: PushButton.Plain
            text: qsTr("Undo")
            tint: root.ink
            visible: root.offersUndo
            onClicked: root.undo()

            background: Rectangle {
                radius: 8
                color: "transparent"
                border.color: root.ink
                border.width: button.visualFocus ? 2 : 1
            }
        }
    }
}
