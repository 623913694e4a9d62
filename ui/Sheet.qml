import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// A question before something that cannot be taken back; the focus starts on the safe button.
T.Popup {
    id: root

    property string question
    property string actionText
    property var action: () => {}

    function ask(question: string, actionText: string, action: var): void {
        root.question = question;
        root.actionText = actionText;
        root.action = action;
        open();
    }

    parent: T.Overlay.overlay
    anchors.centerIn: parent
    width: 420
    padding: 24
    implicitHeight: implicitContentHeight + 2 * padding
    focus: true
    modal: true
    closePolicy: T.Popup.CloseOnEscape
    onOpened: safe.forceActiveFocus(Qt.TabFocusReason)

    T.Overlay.modal: Rectangle {
        color: Qt.rgba(0, 0.03, 0.02, Theme.scrim)
    }
    enter: Transition {
        NumberAnimation {
            property: "opacity"
            from: 0
            to: 1
            duration: Theme.enterMs
            easing.type: Easing.OutCubic
        }
    }
    exit: Transition {
        NumberAnimation {
            property: "opacity"
            to: 0
            duration: Theme.exitMs
            easing.type: Easing.InCubic
        }
    }
    background: Item {
        Shadow {
            anchors.fill: panel
            anchors.margins: -64
            anchors.topMargin: -40
            anchors.bottomMargin: -88
            blur: 64
            corner: 14
            opacity: 0.3
        }
        Rectangle {
            id: panel

            anchors.fill: parent
            radius: 14
            color: Theme.raised
            border.color: Theme.line
        }
    }
    contentItem: Column {
        spacing: 24
        Accessible.role: Accessible.Dialog
        Accessible.name: root.question

        Label {
            width: parent.width
            font.weight: Font.DemiBold
            size: Theme.section
            text: root.question
            wrapMode: Text.Wrap
            maximumLineCount: 4
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Row {
            anchors.right: parent.right
            spacing: 8

            PushButton {
                id: safe

                text: qsTr("Cancel")
                onClicked: root.close()
                KeyNavigation.right: sure
                KeyNavigation.tab: sure
            }
            PushButton {
                id: sure

                kind: PushButton.Danger
                text: root.actionText
                onClicked: {
                    root.close();
                    root.action(); // qmllint disable
                }
                KeyNavigation.left: safe
                KeyNavigation.tab: safe
            }
        }
    }
}
