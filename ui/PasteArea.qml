import QtQuick
import QtQuick.Templates as T

// Lines of text to paste and edit; Ctrl+Enter submits.
T.TextArea {
    id: root

    required property string name
    // Asked with the text before and after the selection whether it takes what is to be pasted.
    property var takesPaste: (before, after) => false

    signal submitted
    // A text that cannot be edited is not wanted any more.
    signal cleared

    color: Theme.t1
    font.family: "monospace"
    font.pixelSize: Theme.secondary
    padding: 11
    renderType: Theme.textRendering
    selectByMouse: true
    selectedTextColor: Theme.accentInk
    selectionColor: Theme.accent
    textFormat: TextEdit.PlainText
    wrapMode: TextEdit.Wrap
    Accessible.role: Accessible.EditableText
    Accessible.multiLine: true
    Accessible.name: name
    KeyNavigation.priority: KeyNavigation.BeforeItem
    Keys.onPressed: event => {
        if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && event.modifiers & Qt.ControlModifier) {
            event.accepted = true;
            root.submitted();
        } else if (event.matches(StandardKey.Paste)) {
            event.accepted = takesPaste(text.substring(0, selectionStart), text.substring(selectionEnd));
        } else if (readOnly && (event.key === Qt.Key_Delete || event.key === Qt.Key_Backspace)) {
            event.accepted = true;
            root.cleared();
        } else if (event.key === Qt.Key_Tab || event.key === Qt.Key_Backtab) {
            // Tab walks on; nobody indents a list of words.
            event.accepted = true;
            nextItemInFocusChain(event.key === Qt.Key_Tab).forceActiveFocus(event.key === Qt.Key_Tab ? Qt.TabFocusReason : Qt.BacktabFocusReason);
        }
    }
}
