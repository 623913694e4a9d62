pragma ComponentBehavior: Bound
import QtQuick

// A button that shows the present choice and opens the others.
DropButton {
    id: root

    // Objects with `id` and `name`.
    property var choices: []
    property string chosenId

    signal picked(string id)

    framed: true
    onClicked: menu.open()

    MenuPanel {
        id: menu

        x: root.width - width
        y: root.height + 4
        contentWidth: 280
        contentHeight: column.height
        name: root.name
        onOpened: if (column.children.length > 0)
            column.children[0].forceActiveFocus(Qt.PopupFocusReason)

        Column {
            id: column

            width: parent.width

            Repeater {
                model: root.choices

                delegate: MenuRow {
                    required property var modelData

                    chosen: modelData.id === root.chosenId
                    text: modelData.name
                    onClicked: {
                        menu.close();
                        root.picked(modelData.id);
                    }
                }
            }
        }
    }
}
