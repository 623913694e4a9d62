import QtQuick
import Tolvik.Models
import Tolvik.Ui

// The shown day in words. There is no card where there are none.
Item {
    id: root

    // Null where nobody finds words.
    property SummaryModel summary: null
    property bool shown: true
    readonly property string words: summary ? summary.text : ""

    implicitHeight: visible ? body.height + 22 : 0
    visible: shown && words.length > 0
    objectName: "summaryCard"

    Column {
        id: body

        width: parent.width

        Row {
            height: 34
            spacing: 8

            Label {
                y: 2
                font.weight: Font.DemiBold
                size: Theme.section
                text: qsTr("Summary")
                Accessible.ignored: false
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Icon {
                y: 4
                color: Theme.accent
                name: "stars"
            }
        }
        Label {
            width: parent.width
            lineHeight: 21
            size: Theme.secondary
            text: root.words
            wrapMode: Text.Wrap
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Label {
            width: parent.width
            topPadding: 4
            color: Theme.t2
            size: Theme.caption
            text: root.summary ? root.summary.detail : ""
            visible: text.length > 0
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
    Rectangle {
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 10
        width: parent.width
        height: 1
        color: Theme.line
    }
}
