import QtQuick
import Tolvik.Ui

// One bar: its parts, its total, its values under the pointer or with the focus.
Item {
    id: root

    required property int index
    required property string label
    required property string totalText
    required property real fraction
    required property var segments
    required property bool highest
    required property bool last
    required property int day
    required property string spoken
    required property string details
    property int barArea: 190
    property int barWidth: 30
    property bool current: false
    readonly property int barHeight: fraction > 0 ? Math.max(2, Math.round(barArea * fraction)) : 0

    signal picked

    Accessible.role: Accessible.ListItem
    Accessible.name: spoken
    Accessible.focusable: true
    Accessible.focused: current
    Accessible.onPressAction: picked()

    Item {
        id: stack

        x: Math.round((root.width - root.barWidth) / 2)
        y: root.height - height
        width: root.barWidth
        height: root.barHeight
        opacity: pointer.hovered || root.current ? 0.85 : 1

        Behavior on height  {
            enabled: !Theme.reducedMotion
            NumberAnimation {
                duration: Theme.stateMs
                easing.type: Easing.OutCubic
            }
        }
        Repeater {
            model: root.segments

            delegate: Rectangle {
                required property int index
                required property var modelData
                readonly property real below: {
                    let sum = 0;
                    for (let i = 0; i < index; ++i)
                        sum += root.segments[i].share;
                    return sum;
                }

                y: Math.round(stack.height * (1 - below - modelData.share))
                width: stack.width
                height: Math.max(1, Math.round(stack.height * (1 - below)) - y - (stack.height * modelData.share > 4 ? 1 : 0))
                color: modelData.project ? Theme.projectColor(modelData.color) : Theme.taskColor(modelData.color)
                border.width: Theme.highContrast ? 1 : 0
                border.color: Theme.ink
            }
        }
        FocusRing {
            anchors.margins: -4
            around: 0
            visible: root.current
        }
    }
    // A total stands before the bars beside it.
    Rectangle {
        anchors.fill: total
        anchors.leftMargin: -3
        anchors.rightMargin: -3
        radius: 3
        color: Theme.page
        visible: total.visible && total.text.length > 0 && root.width < 40
    }
    Label {
        id: total

        x: Math.round((root.width - implicitWidth) / 2)
        y: root.height - root.barHeight - 19
        color: root.last ? Theme.accent : root.highest ? Theme.t1 : Theme.t2
        font.weight: root.last || root.highest ? Font.DemiBold : Font.Medium
        size: Theme.caption
        text: root.totalText
        elide: Text.ElideNone
        visible: root.width > 26 || root.last || root.highest
    }
    Label {
        x: Math.round((root.width - implicitWidth) / 2)
        y: root.height + 8
        color: Theme.t3
        elide: Text.ElideNone
        size: Theme.axis
        text: root.label
    }
    HoverHandler {
        id: pointer
    }
    TapHandler {
        onTapped: root.picked()
    }
    Loader {
        active: pointer.hovered || root.current
        sourceComponent: ValuePanel {
            parent: root
            x: Math.round((root.width - width) / 2)
            y: root.height - root.barHeight - height - 24
            text: root.details
        }
    }
}
