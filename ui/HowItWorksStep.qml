import QtQuick
import Tolvik.Models
import Tolvik.Ui

// The chord and the sentences that are understood.
Column {
    id: root

    required property WindowModel app

    spacing: 24

    Rectangle {
        width: parent.width
        height: 78
        radius: 12
        color: Theme.page
        border.color: Theme.line
        Accessible.role: Accessible.StaticText
        Accessible.name: qsTr("Hold %1, speak, let go.").arg(root.app.settings.chord.chordText)

        Row {
            x: 16
            anchors.verticalCenter: parent.verticalCenter
            spacing: 14

            KeyCaps {
                anchors.verticalCenter: parent.verticalCenter
                keys: root.app.settings.chord.chordKeys
                large: true
            }
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t3
                name: "arrow-right"
            }
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.accent
                name: "soundwave"
                size: 20
            }
            Icon {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t3
                name: "arrow-right"
            }
            Label {
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.t2
                text: qsTr("let go")
            }
        }
    }
    Rectangle {
        width: parent.width
        height: sentences.height + 2
        radius: 12
        color: Theme.page
        border.color: Theme.line

        Column {
            id: sentences

            x: 1
            y: 1
            width: parent.width - 2

            Repeater {
                model: [["play-fill", qsTr("Start coding the auth flow"), qsTr("A new task begins.")], ["arrow-right", qsTr("Switch to email"), qsTr("What ran is closed, the other goes on.")], ["pause-fill", qsTr("Stop"), qsTr("Nothing runs any more.")], ["check2", qsTr("Done"), qsTr("The running task is finished.")], ["arrow-counterclockwise", qsTr("Undo"), qsTr("Takes the last change back.")]]

                delegate: Item {
                    id: sentence

                    required property int index
                    required property var modelData
                    readonly property bool narrow: width < 520

                    width: sentences.width
                    height: narrow ? 56 : 44
                    Accessible.role: Accessible.StaticText
                    Accessible.name: qsTr("“%1”. %2").arg(modelData[1]).arg(modelData[2])

                    Rectangle {
                        width: parent.width
                        height: 1
                        color: Theme.line
                        visible: sentence.index > 0
                    }
                    Icon {
                        x: 18
                        anchors.verticalCenter: parent.verticalCenter
                        color: Theme.accent
                        name: sentence.modelData[0]
                    }
                    Label {
                        x: 50
                        y: sentence.narrow ? 8 : 12
                        font.weight: Font.Medium
                        text: "“" + sentence.modelData[1] + "”"
                    }
                    Label {
                        x: sentence.narrow ? 50 : 290
                        y: sentence.narrow ? 28 : 12
                        width: parent.width - x - 16
                        color: Theme.t2
                        size: Theme.secondary
                        text: sentence.modelData[2]
                    }
                }
            }
        }
    }
}
