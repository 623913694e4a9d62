import QtQuick
import Tolvik.Ui

// A question before something that cannot be taken back; the focus starts on the safe button.
SheetPanel {
    id: root

    property string question
    // What it means, below the question.
    property string note
    property string actionText
    property bool dangerous: true
    property var action: () => {}

    function ask(question: string, actionText: string, action: var): void {
        explain(question, "", actionText, true, action);
    }
    function explain(question: string, note: string, actionText: string, dangerous: bool, action: var): void {
        root.question = question;
        root.note = note;
        root.actionText = actionText;
        root.dangerous = dangerous;
        root.action = action;
        open();
    }

    name: question
    onOpened: safe.forceActiveFocus(Qt.TabFocusReason)

    // A window that becomes active gives its button the focus back without showing it, as after a file dialog.
    readonly property bool windowIsActive: safe.Window.active

    onWindowIsActiveChanged: if (windowIsActive && opened)
        Qt.callLater(() => (sure.activeFocus ? sure : safe).forceActiveFocus(Qt.TabFocusReason)) // qmllint disable

    contentItem: Column {
        spacing: 24

        Column {
            width: parent.width
            spacing: 8

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

                kind: root.dangerous ? PushButton.Danger : PushButton.Filled
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
