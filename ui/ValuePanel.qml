import QtQuick
import QtQuick.Templates as T

// The values of a bar, a line each; it takes no focus and no clicks.
T.Popup {
    id: root

    property string text

    closePolicy: T.Popup.NoAutoClose
    implicitHeight: label.implicitHeight + 16
    implicitWidth: label.implicitWidth + 24
    margins: 8
    visible: true
    background: Rectangle {
        radius: Theme.controlRadius
        color: Theme.dark ? "#E8EEEB" : "#13201C"
    }
    contentItem: Label {
        id: label

        color: Theme.dark ? "#13201C" : "#FFFFFF"
        leftPadding: 12
        lineHeight: 18
        size: Theme.caption
        text: root.text
    }
}
