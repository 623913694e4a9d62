import QtQuick
import QtQuick.Templates as T

// A line of text to edit.
T.TextField {
    id: root

    required property string name
    property bool framed: true

    implicitWidth: 200
    implicitHeight: 36
    color: Theme.t1
    font.family: Theme.family
    font.pixelSize: Theme.secondary
    leftPadding: 11
    rightPadding: 11
    placeholderTextColor: Theme.t3
    renderType: Theme.textRendering
    selectByMouse: true
    selectedTextColor: Theme.accentInk
    selectionColor: Theme.accent
    verticalAlignment: TextInput.AlignVCenter
    Accessible.role: Accessible.EditableText
    Accessible.name: name

    background: Rectangle {
        radius: Theme.controlRadius
        color: root.framed ? Theme.page : "transparent"
        border.color: root.activeFocus ? Theme.accent : Theme.edge
        border.width: root.framed ? (root.activeFocus ? 2 : 1) : 0
    }

    Label {
        anchors.fill: parent
        anchors.leftMargin: root.leftPadding
        anchors.rightMargin: root.rightPadding
        color: root.placeholderTextColor
        size: root.font.pixelSize
        text: root.placeholderText
        visible: root.text.length === 0 && root.preeditText.length === 0
    }
}
