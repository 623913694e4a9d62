pragma ComponentBehavior: Bound
import QtQuick

// Ten bars that run left from the live edge; while transcribing they lie flat and a bead runs to the edge.
Item {
    id: root

    property var levels: []
    property bool listening: true
    property bool running: true
    property real bead: 0
    readonly property int bars: Theme.reducedMotion ? 1 : 10

    implicitWidth: 54
    implicitHeight: 32
    Accessible.ignored: true

    // Whole cells, so that the bead costs ten frames a run and not sixty a second.
    Timer {
        interval: 90
        repeat: true
        running: root.running && root.visible && !root.listening && !Theme.reducedMotion
        onTriggered: root.bead = (root.bead + 1) % 13
    }

    Repeater {
        model: root.bars

        delegate: Rectangle {
            id: bar

            required property int index
            readonly property int fromEdge: root.bars - 1 - index
            readonly property real level: {
                const at = root.levels.length - 1 - fromEdge;
                return root.listening && at >= 0 ? root.levels[at] : 0;
            }
            readonly property bool lit: !root.listening && Math.abs(root.bead - 1 - index) <= 1 && !Theme.reducedMotion

            x: 5 * index + (root.bars === 1 ? 36 : 0)
            anchors.verticalCenter: parent.verticalCenter
            width: root.bars === 1 ? 8 : 3
            height: lit ? (root.bead - 1 === index ? 8 : 6) : Math.max(3, Math.round(30 * level))
            radius: width / 2
            color: lit ? Theme.accent : root.listening ? Theme.t1 : Theme.t3
            opacity: lit ? 1 : root.bars === 1 ? 1 : 0.35 + 0.65 * (1 - fromEdge / 10)
        }
    }
    Rectangle {
        x: 51
        y: 1
        width: 3
        height: 30
        radius: 1.5
        color: Theme.accent
    }
}
