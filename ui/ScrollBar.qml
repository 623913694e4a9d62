import QtQuick
import QtQuick.Templates as T

// A thin scroll bar that shows while it is of use.
T.ScrollBar {
    id: root

    implicitWidth: 10
    minimumSize: 0.08
    padding: 2
    visible: size < 1
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Theme.edge
        opacity: root.pressed ? 0.9 : root.hovered ? 0.7 : 0.35
    }
}
