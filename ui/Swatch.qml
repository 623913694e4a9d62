import QtQuick

// A task's circle or a project's rounded square; its name always stands beside it.
Rectangle {
    property bool project: false
    property int colorIndex: -1

    implicitWidth: project ? 9 : 12
    implicitHeight: implicitWidth
    radius: project ? 2 : width / 2
    color: project ? Theme.projectColor(colorIndex) : Theme.taskColor(colorIndex)
    Accessible.ignored: true
}
