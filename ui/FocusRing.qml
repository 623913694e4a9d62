import QtQuick

// Two pixels of accent around the parent, with a gap of two.
Rectangle {
    property real around: parent.radius ?? 0 // qmllint disable type

    anchors.fill: parent
    anchors.margins: -4
    border.color: Theme.accent
    border.width: 2
    color: "transparent"
    radius: around + 4
}
