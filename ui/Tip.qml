import QtQuick
import QtQuick.Templates as T

// The name of what lies under the pointer, after a moment.
Item {
    id: root

    property bool shown: false
    property string text

    anchors.fill: parent
    Accessible.ignored: true

    Timer {
        id: wait

        interval: 600
        running: root.shown
    }
    Loader {
        active: root.shown && !wait.running && root.text.length > 0
        sourceComponent: T.Popup {
            id: popup

            x: Math.round((root.width - implicitWidth) / 2)
            y: root.height + 6
            parent: root
            margins: 8
            implicitWidth: label.implicitWidth + 16
            implicitHeight: 26
            closePolicy: T.Popup.NoAutoClose
            visible: true
            background: Rectangle {
                radius: 6
                color: Theme.dark ? "#E8EEEB" : "#13201C"
            }
            contentItem: Label {
                id: label

                color: Theme.dark ? "#13201C" : "#FFFFFF"
                horizontalAlignment: Text.AlignHCenter
                size: Theme.caption
                text: root.text
            }
        }
    }
}
