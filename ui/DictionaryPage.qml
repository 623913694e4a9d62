import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// The words that dictation should know: whose at the left, the words at the right.
FocusScope {
    id: root

    objectName: "dictionaryPage"

    required property WindowModel app
    property bool compact: false
    readonly property DictionaryModel dictionary: app.dictionary
    readonly property int margin: compact ? 20 : 32
    readonly property int column: Math.min(1180, width - 2 * margin)
    readonly property int side: column < 760 ? 168 : 228
    readonly property string addProblem: dictionary.collision(term.text)

    function focusSearch(): void {
        search.forceActiveFocus(Qt.ShortcutFocusReason);
    }
    function openImport(): void {
        dictionary.beginImport();
        sheet.active = true;
        (sheet.item as ImportSheet).open();
    }
    function submit(): void {
        if (dictionary.add(term.text, hint.text)) {
            term.clear();
            hint.clear();
            term.forceActiveFocus(Qt.OtherFocusReason);
            terms.positionViewAtBeginning();
        }
    }

    onVisibleChanged: if (visible)
        term.forceActiveFocus(Qt.OtherFocusReason)
    Component.onCompleted: term.forceActiveFocus(Qt.OtherFocusReason)

    Item {
        x: Math.round((root.width - root.column) / 2)
        width: root.column
        height: root.height

        PageTitle {
            id: title

            y: 28
            text: qsTr("Dictionary")
        }
        Label {
            id: about

            y: 59
            width: Math.min(540, root.column - tools.width - 24)
            color: Theme.t2
            lineHeight: 18
            size: Theme.secondary
            text: qsTr("Names and jargon that dictation should know. Personal terms always count, project terms while that project is current.")
            wrapMode: Text.Wrap
        }
        Row {
            id: tools

            anchors.right: parent.right
            y: 24
            spacing: 8

            Field {
                id: search

                width: root.column < 760 ? 150 : 220
                leftPadding: 34
                name: qsTr("Search the terms")
                placeholderText: qsTr("Search")
                text: root.dictionary.search
                onTextEdited: root.dictionary.search = text
                Keys.onEscapePressed: event => {
                    event.accepted = text.length > 0;
                    root.dictionary.search = "";
                }

                Icon {
                    x: 11
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.t2
                    name: "search"
                    size: 14
                }
            }
            PushButton {
                iconName: "clipboard-plus"
                text: qsTr("Import")
                Accessible.name: qsTr("Import terms")
                onClicked: root.openImport()
            }
        }
        Banner {
            id: problem

            y: 108
            width: parent.width
            text: root.dictionary.problemText
            visible: text.length > 0
        }

        Item {
            id: body

            y: Math.max(114, about.y + about.height + 18) + (problem.visible ? 52 : 0)
            width: parent.width
            height: parent.height - y

            ListView {
                id: targets

                width: root.side
                height: parent.height
                activeFocusOnTab: true
                boundsBehavior: Flickable.StopAtBounds
                bottomMargin: 20
                clip: true
                model: root.dictionary.targets
                objectName: "dictionaryTargets"
                spacing: 2
                keyNavigationEnabled: false
                currentIndex: -1
                Accessible.role: Accessible.List
                Accessible.name: qsTr("Dictionaries")

                function step(by: int): void {
                    for (let i = 0; i < count; ++i) {
                        if ((itemAtIndex(i) as TargetRow)?.chosen) {
                            const next = itemAtIndex(Math.max(0, Math.min(count - 1, i + by))) as TargetRow;
                            positionViewAtIndex(Math.max(0, Math.min(count - 1, i + by)), ListView.Contain);
                            if (next)
                                root.dictionary.targetId = next.targetId;
                            return;
                        }
                    }
                }

                Keys.onUpPressed: step(-1)
                Keys.onDownPressed: step(1)

                delegate: TargetRow {
                    width: targets.width
                    chosen: root.dictionary.targetId === targetId
                    keyboard: targets.activeFocus
                    onPicked: root.dictionary.targetId = targetId
                }
            }

            Item {
                id: right

                x: root.side + 24
                width: parent.width - x
                height: parent.height

                Field {
                    id: term

                    width: Math.round((parent.width - add.width - 16) * 0.42)
                    implicitHeight: 34
                    maximumLength: 200
                    name: qsTr("New term")
                    placeholderText: root.dictionary.targetId.length > 0 ? qsTr("Add a term for %1").arg(root.dictionary.targetName) : qsTr("Add a term")
                    onAccepted: root.submit()
                    Accessible.description: root.addProblem
                }
                Field {
                    id: hint

                    anchors.left: term.right
                    anchors.leftMargin: 8
                    anchors.right: add.left
                    anchors.rightMargin: 8
                    implicitHeight: 34
                    maximumLength: 400
                    name: qsTr("Hint for the new term")
                    placeholderText: qsTr("Hint, such as a role (optional)")
                    onAccepted: root.submit()
                }
                PushButton {
                    id: add

                    anchors.right: parent.right
                    implicitHeight: 34
                    implicitWidth: 64
                    enabled: term.text.trim().length > 0 && root.addProblem.length === 0
                    kind: PushButton.Filled
                    text: qsTr("Add")
                    Accessible.name: qsTr("Add the term")
                    onClicked: root.submit()
                }
                Label {
                    id: collision

                    y: 38
                    width: parent.width
                    color: Theme.warn
                    size: Theme.caption
                    text: root.addProblem
                    visible: text.length > 0
                    Accessible.ignored: !visible
                    Accessible.role: Accessible.AlertMessage
                    Accessible.name: text
                }
                Item {
                    id: currentRow

                    y: collision.visible ? 58 : 46
                    width: parent.width
                    height: root.dictionary.targetId.length > 0 ? 44 : 0
                    visible: height > 0

                    Label {
                        anchors.verticalCenter: parent.verticalCenter
                        width: parent.width - 60
                        color: Theme.t2
                        size: Theme.secondary
                        text: root.dictionary.targetIsCurrent ? qsTr("Current project: its terms help dictation now.") : qsTr("Not the current project: its terms rest.")
                    }
                    Toggle {
                        anchors.right: parent.right
                        anchors.verticalCenter: parent.verticalCenter
                        name: qsTr("%1 is the current project").arg(root.dictionary.targetName)
                        on: root.dictionary.targetIsCurrent
                        onWanted: on => root.dictionary.setCurrent(on)
                    }
                }
                Rectangle {
                    id: rule

                    y: currentRow.y + currentRow.height
                    width: parent.width
                    height: 1
                    color: Theme.line
                }
                TermList {
                    id: terms

                    anchors.top: rule.bottom
                    anchors.bottom: parent.bottom
                    width: parent.width
                    dictionary: root.dictionary
                }
            }
        }
    }
    Loader {
        id: sheet

        active: false
        sourceComponent: ImportSheet {
            dictionary: root.dictionary
            projects: root.app.home.projects
        }
    }
}
