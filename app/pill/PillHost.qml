import QtQuick
import Tolvik.Ui

// Brings the pill in and out; the window is as large as this item.
Item {
    id: host

    required property QtObject pill
    property bool composited: true
    property bool reducedMotion: false
    property bool shown: false
    /// Room around the pill for its shadow and its rise.
    readonly property int margin: composited ? 40 : 0
    /// Where a click counts, in this item's coordinates; empty for nowhere.
    readonly property rect undoArea: content.undoArea.width > 0
        ? Qt.rect(margin + content.undoArea.x, margin + content.undoArea.y,
                  content.undoArea.width, content.undoArea.height)
        : Qt.rect(0, 0, 0, 0)

    /// The pill is out of sight.
    signal gone

    width: content.implicitWidth + 2 * margin
    height: content.implicitHeight + 2 * margin

    VoicePill {
        id: content
        pill: host.pill
        composited: host.composited
        x: host.margin
        y: host.margin + rise
        width: implicitWidth
        height: implicitHeight
        opacity: 0
        property real rise: 0
    }

    states: State {
        name: "in"
        when: host.shown
        PropertyChanges {
            content.opacity: 1
        }
    }
    transitions: [
        Transition {
            to: "in"
            ParallelAnimation {
                NumberAnimation {
                    target: content
                    property: "opacity"
                    duration: !host.composited ? 0 : host.reducedMotion ? 80 : 200
                    easing.type: Easing.OutCubic
                }
                NumberAnimation {
                    target: content
                    property: "rise"
                    from: host.reducedMotion || !host.composited ? 0 : 8
                    to: 0
                    duration: host.reducedMotion || !host.composited ? 0 : 200
                    easing.type: Easing.OutCubic
                }
            }
        },
        Transition {
            from: "in"
            SequentialAnimation {
                NumberAnimation {
                    target: content
                    property: "opacity"
                    duration: !host.composited ? 0 : host.reducedMotion ? 80 : 120
                    easing.type: Easing.InCubic
                }
                ScriptAction {
                    script: host.gone()
                }
            }
        }
    ]
}
