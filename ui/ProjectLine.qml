pragma ComponentBehavior: Bound
import QtQuick

// One project: its last twelve weeks as bars, this week and the whole.
Item {
    id: root

    required property int index
    required property string projectId
    required property string name
    required property int colorIndex
    required property bool current
    required property string detail
    required property var weeks
    required property string weekText
    required property string totalText
    required property string spoken
    property bool chosen: false
    property bool keyboard: false
    property bool showsWeeks: true
    property int weeksStart: 198
    property int weekEnd: 488

    signal picked

    height: 56
    Accessible.role: Accessible.ListItem
    Accessible.name: spoken
    Accessible.focusable: true
    Accessible.selected: chosen
    Accessible.onPressAction: picked()

    Rectangle {
        anchors.fill: parent
        anchors.leftMargin: -12
        anchors.rightMargin: -12
        radius: Theme.controlRadius
        color: root.chosen ? Theme.soft : Theme.hover
        opacity: root.chosen || pointer.hovered ? 1 : 0
        border.width: root.chosen && Theme.highContrast ? 2 : 0
        border.color: Theme.accent

        Behavior on opacity  {
            NumberAnimation {
                duration: Theme.hoverMs
            }
        }
        FocusRing {
            anchors.margins: -2
            around: 6
            visible: root.chosen && root.keyboard
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: Theme.line
        visible: !root.chosen && !pointer.hovered
    }
    Swatch {
        anchors.verticalCenter: parent.verticalCenter
        colorIndex: root.colorIndex
        implicitWidth: 12
        project: true
        radius: 3
    }
    Row {
        x: 30
        y: 10
        spacing: 10

        Label {
            id: title

            width: Math.min(implicitWidth, (root.showsWeeks ? root.weeksStart : root.weekEnd - 90) - 42 - (mark.visible ? mark.implicitWidth + 10 : 0))
            font.weight: Font.Medium
            text: root.name
        }
        Label {
            id: mark

            anchors.baseline: title.baseline
            color: Theme.accent
            font.weight: Font.Medium
            size: Theme.caption
            text: qsTr("Current")
            visible: root.current
        }
    }
    Label {
        x: 30
        y: 29
        width: (root.showsWeeks ? root.weeksStart : root.weekEnd - 90) - x - 12
        color: Theme.t2
        size: Theme.secondary
        text: root.detail
    }
    Item {
        x: root.weeksStart
        y: 14
        width: 187
        height: 30
        visible: root.showsWeeks

        Repeater {
            model: root.weeks

            delegate: Rectangle {
                required property int index
                required property real modelData

                x: 16 * index
                y: 29 - height
                width: 11
                height: modelData > 0 ? Math.max(3, Math.round(28 * modelData)) : 0
                radius: height > 4 ? 2 : 0
                color: Theme.projectColor(root.colorIndex)
                border.width: Theme.highContrast ? 1 : 0
                border.color: Theme.ink
            }
        }
        Rectangle {
            y: 29
            width: parent.width
            height: 1
            color: Theme.edge
        }
    }
    Figures {
        x: root.weekEnd - width
        anchors.verticalCenter: parent.verticalCenter
        color: root.weekText === "–" ? Theme.t2 : Theme.t1
        quietUnits: true
        text: root.weekText
    }
    Figures {
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        color: root.totalText === "–" ? Theme.t2 : Theme.t1
        quietUnits: true
        text: root.totalText
    }
    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: root.picked()
    }
}
