import QtQuick

// The mark: a stretch of time that ends at the live edge.
Item {
    id: root

    property real zoom: 1

    width: 21 * zoom
    height: 16 * zoom
    Accessible.ignored: true

    Rectangle {
        y: 4 * root.zoom
        width: 20 * root.zoom
        height: 8 * root.zoom
        radius: height / 2
        color: Theme.dark ? "#3D4946" : "#C4CDC8"
    }
    Rectangle {
        y: 4 * root.zoom
        width: 14 * root.zoom
        height: 8 * root.zoom
        radius: height / 2
        color: Theme.t1
    }
    Rectangle {
        x: 13 * root.zoom
        width: 3 * root.zoom
        height: 16 * root.zoom
        radius: width / 2
        color: Theme.accent
    }
}
