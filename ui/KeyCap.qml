import QtQuick

// A key as it is drawn on a keyboard.
Rectangle {
    id: root

    property alias text: label.text
    property bool large: false
    property bool held: false

    implicitWidth: large ? Math.max(46, label.implicitWidth + 26) : Math.max(18, label.implicitWidth + 10)
    implicitHeight: large ? 36 : 20
    radius: large ? 8 : 4
    color: large || Theme.highContrast ? Theme.edge : Theme.dark ? "#4A5652" : "#B4BEB9"

    // The cap leaves a thicker lower edge of the rectangle behind it.
    Rectangle {
        anchors.fill: parent
        anchors.margins: 1
        anchors.bottomMargin: root.large ? 3 : 2
        radius: parent.radius - 1
        color: Theme.raised
    }
    Label {
        id: label

        anchors.centerIn: parent
        anchors.verticalCenterOffset: root.large ? -1 : 0
        color: root.large ? Theme.t1 : Theme.t2
        font.weight: root.large ? Font.DemiBold : Font.Medium
        size: root.large ? Theme.secondary : Theme.axis
    }
}
