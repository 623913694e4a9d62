import QtQuick
import QtQuick.Templates as T
import Tolvik.Ui

// One answer of several, as a pill that fills when it is chosen.
T.AbstractButton {
    id: root

    property bool chosen: false
    // Else Enter is left to whoever is around it.
    property bool takesEnter: true

    implicitWidth: label.implicitWidth + 36 + (chosen ? 24 : 0)
    implicitHeight: 40
    hoverEnabled: true
    focusPolicy: Qt.TabFocus
    Accessible.role: Accessible.RadioButton
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: chosen
    Accessible.onPressAction: clicked()
    Keys.onPressed: event => {
        if (takesEnter && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)) {
            clicked();
            event.accepted = true;
        }
    }

    background: Rectangle {
        radius: height / 2
        color: root.chosen ? Theme.accent : root.down ? Theme.sunk : root.hovered ? Theme.hover : Theme.page
        border.width: root.chosen ? 0 : 1
        border.color: Theme.edge

        Behavior on color  {
            ColorAnimation {
                duration: Theme.hoverMs
            }
        }
        FocusRing {
            visible: root.visualFocus
        }
    }
    contentItem: Item {
        Row {
            anchors.centerIn: parent
            spacing: 8

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.accentInk
                name: "check2"
                visible: root.chosen
            }
            Label {
                id: label

                color: root.chosen ? Theme.accentInk : Theme.t1
                font.weight: root.chosen ? Font.DemiBold : Font.Medium
                text: root.text
            }
        }
    }
}
