import QtQuick
import Tolvik.Ui

// One dictionary: the personal one, or a project's.
Item {
    id: root

    required property string targetId
    required property string name
    required property int colorIndex
    required property int count
    required property bool active
    required property string spoken
    property bool chosen: false
    property bool keyboard: false

    signal picked

    implicitHeight: 36
    Accessible.role: Accessible.ListItem
    Accessible.name: spoken
    Accessible.focusable: true
    Accessible.selected: chosen
    Accessible.onPressAction: picked()

    Rectangle {
        anchors.fill: parent
        radius: Theme.controlRadius
        color: root.chosen ? Theme.soft : Theme.hover
        opacity: root.chosen || pointer.hovered ? 1 : 0
        border.width: root.chosen && Theme.highContrast ? 2 : 0
        border.color: Theme.accent

        FocusRing {
            anchors.margins: 0
            around: 4
            visible: root.chosen && root.keyboard
        }
    }
    Icon {
        x: 10
        anchors.verticalCenter: parent.verticalCenter
        color: root.chosen ? Theme.t1 : Theme.t2
        name: "person"
        size: 14
        visible: root.targetId.length === 0
    }
    Swatch {
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        colorIndex: root.colorIndex
        project: true
        visible: root.targetId.length > 0
    }
    Label {
        x: 34
        width: parent.width - x - counter.implicitWidth - 18 - (mark.visible ? mark.implicitWidth + 6 : 0)
        anchors.verticalCenter: parent.verticalCenter
        color: root.chosen ? Theme.t1 : Theme.t2
        font.weight: root.chosen ? Font.DemiBold : Font.Normal
        text: root.name
    }
    Label {
        id: mark

        anchors.right: counter.left
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.accent
        size: Theme.caption
        text: qsTr("Current")
        font.weight: Font.Medium
        visible: root.active && root.targetId.length > 0
    }
    Label {
        id: counter

        anchors.right: parent.right
        anchors.rightMargin: 10
        anchors.verticalCenter: parent.verticalCenter
        color: Theme.t3
        size: Theme.caption
        text: root.count > 0 ? root.count : ""
    }
    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: root.picked()
    }
}
