pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// What a day without tasks says: the two ways to start one, and three things to say.
Item {
    id: root

    required property WindowModel app
    property bool compact: false
    readonly property bool speaks: app.settings.voiceEnabled
    // Where held keys cannot be seen, the button in the input bar is the way.
    readonly property bool byKeys: speaks && app.settings.chordProblem.length === 0
    readonly property string keyHint: (speaks ? qsTr("Or type above, or press") : qsTr("Type above, or press"))

    implicitHeight: column.height
    Accessible.role: Accessible.StaticText
    Accessible.name: [qsTr("No time tracked on this day."), byKeys ? qsTr("Hold %1 and say what you are doing.").arg(app.settings.chord.chordKeys.join(" + ")) : speaks ? qsTr("Click the microphone and say what you are doing.") : "", keyHint, qsTr("Ctrl + K") + "."].join(" ") // qmllint disable type

    Column {
        id: column

        anchors.horizontalCenter: parent.horizontalCenter
        spacing: 16

        Label {
            anchors.horizontalCenter: parent.horizontalCenter
            font.family: Theme.displayFamily
            font.pixelSize: 20
            font.weight: Font.DemiBold
            lineHeight: 28
            text: qsTr("No time tracked on this day")
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: root.byKeys ? 11 : 5
            visible: root.speaks

            Label {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                size: Theme.section
                text: root.byKeys ? qsTr("Hold") : qsTr("Click the microphone")
            }
            KeyCaps {
                visible: root.byKeys
                keys: root.app.settings.chord.chordKeys
                large: true
            }
            Label {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                size: Theme.section
                text: qsTr("and say what you are doing")
            }
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 8

            Label {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                size: Theme.section
                text: root.keyHint
            }
            // The part of the hint that names the key is drawn as this keyboard has it.
            KeyCaps {
                anchors.verticalCenter: parent.verticalCenter
                keys: [qsTr("Ctrl"), "K"]
            }
        }
        Item {
            width: 1
            height: 6
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: root.compact ? 28 : 44

            Repeater {
                model: [{
                        "said": qsTr("“start the tide-table layout”"),
                        "does": qsTr("starts a task")
                    }, {
                        "said": qsTr("“switch to email”"),
                        "does": qsTr("changes the running task")
                    }, {
                        "said": qsTr("“done”"),
                        "does": qsTr("marks it done")
                    }]

                delegate: Column {
                    id: example

                    required property var modelData

                    spacing: 8

                    Label {
                        size: Theme.secondary
                        text: example.modelData.said
                    }
                    Label {
                        color: Theme.t2
                        size: Theme.secondary
                        text: example.modelData.does
                    }
                }
            }
        }
    }
}
