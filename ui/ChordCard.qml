pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models
import Tolvik.Ui

// The push-to-talk chord, and the recording of a new one: keys fill as they are held, a valid release saves.
SettingsGroup {
    id: root

    required property ChordRecorderModel chord
    // Said beside the keys.
    property string hint
    // The names of keys that are down now: they light up.
    property var pressed: []

    marked: chord.recording
    title: qsTr("Push-to-talk chord")

    FocusScope {
        id: scope

        width: parent.width
        implicitHeight: root.chord.recording ? 134 : 80
        height: implicitHeight
        Keys.onEscapePressed: event => {
            if (root.chord.recording) {
                root.chord.cancel();
                button.forceActiveFocus(Qt.OtherFocusReason);
            } else {
                event.accepted = false;
            }
        }
        onActiveFocusChanged: if (!activeFocus && root.chord.recording)
            root.chord.cancel()

        Row {
            id: keys

            x: 20
            y: 18
            spacing: 8
            Accessible.role: Accessible.StaticText
            Accessible.name: root.chord.chordText

            Repeater {
                model: root.chord.keys

                delegate: Item {
                    id: key

                    required property var modelData
                    readonly property bool held: modelData.held
                    readonly property bool ghost: root.chord.recording && !held
                    readonly property bool lit: root.chord.recording || root.pressed.indexOf(modelData.name) >= 0

                    width: Math.max(64, label.implicitWidth + 28)
                    height: 44

                    Rectangle {
                        anchors.fill: parent
                        radius: 9
                        color: key.lit ? Theme.accent : Theme.edge
                        visible: !key.ghost

                        Rectangle {
                            anchors.fill: parent
                            anchors.margins: 1
                            anchors.bottomMargin: 3
                            radius: 8
                            color: key.lit ? Theme.soft : Theme.page
                        }
                    }
                    DashedFrame {
                        anchors.fill: parent
                        visible: key.ghost
                    }
                    Label {
                        id: label

                        anchors.centerIn: parent
                        anchors.verticalCenterOffset: key.ghost ? 0 : -1
                        color: key.ghost ? Theme.t2 : key.lit ? Theme.accent : Theme.t1
                        font.weight: key.ghost ? Font.Normal : Font.DemiBold
                        text: key.modelData.name
                    }
                }
            }
        }
        Label {
            anchors.left: keys.right
            anchors.leftMargin: 14
            anchors.right: button.left
            anchors.rightMargin: 12
            color: Theme.t2
            size: Theme.secondary
            text: root.hint
            visible: !root.chord.recording
            y: 30
            Accessible.ignored: text.length === 0
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        PushButton {
            id: button

            anchors.right: parent.right
            anchors.rightMargin: 20
            y: 22
            focus: true
            text: root.chord.recording ? qsTr("Cancel") : qsTr("Change")
            Accessible.name: root.chord.recording ? qsTr("Cancel recording") : qsTr("Change the push-to-talk chord")
            onClicked: {
                if (root.chord.recording) {
                    root.chord.cancel();
                } else {
                    forceActiveFocus(Qt.TabFocusReason);
                    root.chord.start();
                }
            }
        }
        Row {
            x: 20
            y: 76
            spacing: 8
            visible: root.chord.recording

            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.warn
                name: "exclamation-circle-fill"
                size: 14
                visible: !root.chord.waiting && root.chord.message.length > 0
            }
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.accent
                name: "check2"
                visible: !root.chord.waiting && root.chord.message.length === 0
            }
            Label {
                color: root.chord.waiting ? Theme.t1 : root.chord.message.length > 0 ? Theme.warn : Theme.accent
                font.weight: root.chord.waiting ? Font.Normal : Font.Medium
                size: Theme.body
                text: root.chord.message.length > 0 ? root.chord.message : qsTr("Release to save")
                Accessible.ignored: false
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }
        Row {
            x: 20
            y: 99
            spacing: 4
            visible: root.chord.recording

            Label {
                color: Theme.t1
                size: Theme.secondary
                text: root.chord.hint
            }
            Label {
                color: Theme.t2
                size: Theme.secondary
                text: qsTr("Option is Alt on this keyboard.")
            }
        }
    }
}
