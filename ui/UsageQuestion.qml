import QtQuick
import Tolvik.Models
import Tolvik.Ui

// May usage be recorded and sent? Neither answer is chosen before the person chooses.
SettingsGroup {
    id: root

    required property PrivacyModel privacy
    readonly property bool narrow: width < 560

    Item {
        width: parent.width
        implicitHeight: words.height + 28 + (root.narrow ? 44 : 0)
        height: implicitHeight

        Column {
            id: words

            x: 16
            y: 14
            width: parent.width - 32 - (root.narrow ? 0 : answers.width + 16)

            Label {
                width: parent.width
                font.weight: Font.Medium
                text: qsTr("May Tolvik send how it is used?")
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text + " " + note.text
            }
            Label {
                id: note

                width: parent.width
                color: root.privacy && root.privacy.problem.length > 0 ? Theme.danger : Theme.t2
                size: Theme.secondary
                text: root.privacy && root.privacy.problem.length > 0 ? root.privacy.problem : qsTr("Pages, results, and the sentences you speak, once you are signed in. Until you say yes, nothing is recorded. Settings show every byte.")
                wrapMode: Text.Wrap
            }
        }
        Row {
            id: answers

            anchors.right: parent.right
            anchors.rightMargin: 16
            y: root.narrow ? words.y + words.height + 8 : Math.round((parent.height - height) / 2)
            spacing: 8

            ChoicePill {
                chosen: root.privacy !== null && root.privacy.asked && !root.privacy.shares
                implicitHeight: 36
                text: qsTr("No")
                Accessible.name: qsTr("No, send nothing")
                onClicked: root.privacy.answer(false)
            }
            ChoicePill {
                chosen: root.privacy !== null && root.privacy.shares
                implicitHeight: 36
                text: qsTr("Yes")
                Accessible.name: qsTr("Yes, send how it is used")
                onClicked: root.privacy.answer(true)
            }
        }
    }
}
