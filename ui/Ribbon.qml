pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The day as a stretch of time. One stop for Tab; ← and → walk along its segments.
FocusScope {
    id: root

    required property HomeModel home
    // The task whose segments stay full while others fade; empty for none.
    property string pointedTask
    readonly property DayRibbonModel ribbon: home.ribbon
    property int current: -1

    signal taskPointed(string taskId)

    implicitHeight: 69 + (ribbon.labelLines > 0 ? 5 + 15 * ribbon.labelLines : 8)
    activeFocusOnTab: true
    onWidthChanged: ribbon.width = width
    Component.onCompleted: ribbon.width = width
    onActiveFocusChanged: if (activeFocus && current < 0)
        current = Math.max(0, segments.count - 1)
    Accessible.role: Accessible.List
    Accessible.name: qsTr("Ribbon of the day")
    Keys.onLeftPressed: current = Math.max(0, current - 1)
    Keys.onRightPressed: current = Math.min(segments.count - 1, current + 1)

    // The hours.
    Repeater {
        model: root.ribbon.hours

        delegate: Item {
            id: hour

            required property var modelData
            required property int index
            readonly property real at: modelData.at * root.width
            readonly property bool first: index === 0
            readonly property bool last: modelData.at === 1
            readonly property bool covered: root.ribbon.now >= 0 && Math.abs(root.ribbon.now * root.width - (first ? label.width / 2 : last ? root.width - label.width / 2 : at)) < (label.width + badge.width) / 2 + 6

            x: Math.round(at)

            Label {
                id: label

                x: hour.first ? 0 : hour.last ? -width : Math.round(-width / 2)
                y: 5
                color: Theme.t3
                font.weight: Font.Medium
                size: Theme.axis
                text: hour.modelData.text
                visible: !hour.covered
            }
            Rectangle {
                y: 24
                width: 1
                height: 5
                color: Theme.edge
                visible: hour.modelData.tick
            }
        }
    }

    Rectangle {
        y: 29
        width: parent.width
        height: 40
        radius: 8
        color: Theme.sunk
        border.width: Theme.highContrast ? 1 : 0
        border.color: Theme.ink
    }

    Repeater {
        id: segments

        model: root.ribbon

        delegate: Item {
            id: segment

            required property int index
            required property string taskId
            required property string title
            required property int colorIndex
            required property real from
            required property real to
            required property string lengthText
            required property bool running
            required property bool showsLength
            required property string titleLines
            required property string spoken
            readonly property bool chosen: root.activeFocus && index >= 0 && root.current === index

            x: Math.round(from * root.width)
            y: 29
            width: Math.max(3, Math.round(to * root.width) - x - (running ? 0 : 2))
            height: 40
            opacity: root.pointedTask.length > 0 && root.pointedTask !== taskId ? 0.3 : 1
            Accessible.role: Accessible.ListItem
            Accessible.name: spoken
            Accessible.selected: chosen

            Behavior on opacity  {
                NumberAnimation {
                    duration: Theme.stateMs
                }
            }

            // The running one is square where it meets the present: its round end is cut off.
            Item {
                anchors.fill: parent
                clip: segment.running

                Rectangle {
                    width: parent.width + (segment.running ? 6 : 0)
                    height: parent.height
                    radius: Math.min(6, width / 2)
                    color: Theme.taskColor(segment.colorIndex)
                    border.width: Theme.highContrast ? 1 : 0
                    border.color: Theme.ink
                }
            }
            FocusRing {
                around: 6
                visible: segment.chosen
            }
            Column {
                y: 45
                x: 0

                Label {
                    font.weight: Font.Medium
                    lineHeight: 15
                    size: Theme.axis
                    text: segment.titleLines
                    visible: text.length > 0
                }
                Label {
                    color: Theme.t2
                    lineHeight: 15
                    size: Theme.axis
                    text: segment.lengthText
                    visible: segment.showsLength
                }
            }
            HoverHandler {
                id: pointer

                onHoveredChanged: root.taskPointed(hovered ? segment.taskId : "")
            }
            Tip {
                shown: pointer.hovered || segment.chosen
                text: segment.spoken
            }
        }
    }

    // The live edge.
    Rectangle {
        x: Math.round(root.ribbon.now * root.width) - 1
        y: 18
        width: 2
        height: 57
        color: Theme.accent
        visible: root.ribbon.now >= 0
    }
    Rectangle {
        id: badge

        x: Math.round(Math.max(0, Math.min(root.width - width, root.ribbon.now * root.width - width / 2)))
        width: nowLabel.width + 16
        height: 18
        radius: 9
        color: Theme.accent
        visible: root.ribbon.now >= 0
        Accessible.role: Accessible.StaticText
        Accessible.name: qsTr("Now")

        Figures {
            id: nowLabel

            anchors.centerIn: parent
            color: Theme.accentInk
            size: Theme.caption
            text: root.ribbon.nowText
            weight: Font.DemiBold
        }
    }
}
