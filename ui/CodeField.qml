pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T

// Six digits: one field, drawn as six boxes.
T.TextField {
    id: root

    property bool wrong: false

    implicitWidth: 6 * 54 + 4 * 8 + 20
    implicitHeight: 60
    color: "transparent"
    cursorDelegate: Item {
    }
    inputMethodHints: Qt.ImhDigitsOnly
    leftPadding: 0
    rightPadding: 0
    selectByMouse: false
    selectionColor: "transparent"
    selectedTextColor: "transparent"
    Accessible.role: Accessible.EditableText
    Accessible.name: qsTr("Code of six digits")

    background: Item {
        Repeater {
            model: 6

            delegate: Rectangle {
                id: box

                required property int index
                readonly property bool here: root.activeFocus && root.text.length === index

                x: index * 62 + (index > 2 ? 12 : 0)
                width: 54
                height: 60
                radius: 8
                color: Theme.page
                border.color: root.wrong ? Theme.danger : Theme.edge

                Label {
                    anchors.centerIn: parent
                    font.weight: Font.Medium
                    size: Theme.runningTitle
                    text: root.text.charAt(box.index)
                }
                Rectangle {
                    anchors.centerIn: parent
                    width: 2
                    height: 26
                    color: Theme.t1
                    visible: box.here
                }
                FocusRing {
                    around: 8
                    visible: box.here || (root.activeFocus && box.index === 5 && root.text.length === 6)
                }
            }
        }
    }
}
