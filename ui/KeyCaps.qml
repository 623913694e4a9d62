pragma ComponentBehavior: Bound
import QtQuick

// The keys of a chord side by side.
Row {
    id: root

    property var keys: []
    property bool large: false

    spacing: large ? 6 : 4

    Repeater {
        model: root.keys

        delegate: KeyCap {
            required property string modelData

            large: root.large
            text: modelData
        }
    }
}
