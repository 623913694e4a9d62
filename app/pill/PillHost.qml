import QtQuick
import Tolvik.Models
import Tolvik.Ui

// Brings the pill in and out; the window is as large as this item.
Item {
    id: host

    required property PillModel pill
    property bool composited: true
    property bool reducedMotion: false
    property bool shown: false
    // Room around the pill for its shadow.
    readonly property int margin: content.shadowMargin
    // Where a click counts; empty for nowhere.
    readonly property rect undoArea: content.undoArea
    // The picture that leaves, since the pill itself is empty by then.
    property var lastLook: null

    // The pill is out of sight.
    signal gone

    onShownChanged: {
        leaving.stop();
        if (shown) {
            lastLook = null;
            arriving.restart();
            return;
        }
        arriving.stop();
        content.opacity = 0;
        if (composited && lastLook !== null)
            leaving.start();
        else
            gone();
    }

    Binding on width {
        when: host.shown
        value: content.implicitWidth
        restoreMode: Binding.RestoreNone
    }
    Binding on height {
        when: host.shown
        value: content.implicitHeight
        restoreMode: Binding.RestoreNone
    }

    VoicePill {
        id: content

        width: implicitWidth
        height: implicitHeight
        opacity: 0
        pill: host.pill
        composited: host.composited
    }
    Image {
        id: look

        visible: leaving.running
        source: host.lastLook ? host.lastLook.url : ""
    }

    Connections {
        target: host.pill

        function onChanged(): void {
            if (host.shown && host.composited && (content.phase === "done" || content.phase === "error"))
                settled.restart();
        }
    }
    Timer {
        id: settled

        interval: 300
        onTriggered: if (host.shown)
            content.grabToImage(result => host.lastLook = result)
    }

    ParallelAnimation {
        id: arriving

        NumberAnimation {
            target: content
            property: "opacity"
            from: host.composited ? 0 : 1
            to: 1
            duration: !host.composited ? 0 : host.reducedMotion ? 80 : 200
            easing.type: Easing.OutCubic
        }
        NumberAnimation {
            target: content
            property: "y"
            from: host.reducedMotion || !host.composited ? 0 : 8
            to: 0
            duration: host.reducedMotion || !host.composited ? 0 : 200
            easing.type: Easing.OutCubic
        }
    }
    SequentialAnimation {
        id: leaving

        NumberAnimation {
            target: look
            property: "opacity"
            from: 1
            to: 0
            duration: host.reducedMotion ? 80 : 120
            easing.type: Easing.InCubic
        }
        ScriptAction {
            script: {
                host.lastLook = null;
                host.gone();
            }
        }
    }
}
