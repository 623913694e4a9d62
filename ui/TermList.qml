pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models

// The terms of one dictionary. One stop for Tab; its keys act on the current row.
ListView {
    id: root

    required property DictionaryModel dictionary
    property int current: -1
    property string editingId

    function row(): TermRow {
        return itemAtIndex(current) as TermRow;
    }
    function move(by: int): void {
        current = Math.max(0, Math.min(count - 1, current + by));
        positionViewAtIndex(current, ListView.Contain);
    }
    function act(event: var): void {
        const term = row();
        if (!term)
            return;
        event.accepted = true;
        switch (event.key) {
        case Qt.Key_Return:
        case Qt.Key_Enter:
        case Qt.Key_F2:
            editingId = term.termId;
            break;
        case Qt.Key_Delete:
            dictionary.remove(term.termId);
            break;
        default:
            event.accepted = false;
        }
    }

    activeFocusOnTab: count > 0
    boundsBehavior: Flickable.StopAtBounds
    bottomMargin: 20
    clip: true
    currentIndex: -1
    keyNavigationEnabled: false
    model: dictionary.terms
    objectName: "termList"
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Terms of %1, %2").arg(dictionary.targetName).arg(dictionary.countText)
    Keys.onUpPressed: move(-1)
    Keys.onDownPressed: move(1)
    Keys.onPressed: event => act(event)
    onActiveFocusChanged: if (activeFocus && current < 0)
        current = 0
    onCountChanged: current = Math.min(current, count - 1)

    T.ScrollBar.vertical: ScrollBar {
    }

    delegate: TermRow {
        width: root.width
        current: index >= 0 && root.current === index && root.activeFocus
        dictionary: root.dictionary
        editing: root.editingId === termId
        onEditEnded: focusBack => {
            root.editingId = "";
            if (focusBack)
                root.forceActiveFocus(Qt.OtherFocusReason);
        }
        onEditWanted: {
            root.current = index;
            root.editingId = termId;
        }
    }

    Column {
        y: 28
        width: parent.width
        spacing: 4
        visible: root.count === 0

        Label {
            width: parent.width
            font.weight: Font.Medium
            text: root.dictionary.search.length > 0 ? qsTr("No term holds “%1”.").arg(root.dictionary.search) : qsTr("No terms yet.")
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Label {
            width: parent.width
            color: Theme.t2
            text: qsTr("Add what dictation mishears: names, products, places.")
            visible: root.dictionary.search.length === 0
            wrapMode: Text.Wrap
        }
    }
}
