pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models

// What runs, the day, and where its time went.
FocusScope {
    id: root

    required property WindowModel app
    readonly property HomeModel home: app.home
    readonly property int margin: width + (compact ? 56 : 200) < 960 ? 20 : 32
    property bool compact: false
    readonly property real column: Math.min(1180, width - 2 * margin)
    readonly property bool narrow: column < 860
    property string pointedTask

    signal deleteWanted(string taskId, string title)

    function focusInput(): void {
        input.focusField();
    }
    function focusFilter(): void {
        tasks.focusFilter();
    }
    function openCalendar(): void {
        dayHeader.openCalendar();
    }

    Binding {
        target: root.app.summary // qmllint disable type
        property: "live"
        value: root.visible && root.home.live
        when: root.app.summary !== null
    }
    // The ribbon, the list and the strip follow the room there is.
    Binding {
        target: root.home.strip // qmllint disable type
        property: "length"
        value: root.narrow ? 7 : 14
    }
    Binding {
        target: root.home.ribbon // qmllint disable type
        property: "labelHours"
        value: root.narrow ? 2 : 1
    }

    Flickable {
        id: flick

        anchors.fill: parent
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: content.height + 32
        contentWidth: width

        T.ScrollBar.vertical: ScrollBar {
        }

        Item {
            id: content

            x: Math.round((root.width - width) / 2)
            width: root.column
            height: (root.home.empty ? emptyDay.y + emptyDay.height : root.narrow ? switches.y + switches.height : Math.max(tasks.y + tasks.height, switches.y + switches.height))

            Column {
                id: top

                width: parent.width

                Item {
                    width: 1
                    height: root.narrow ? 16 : 24
                }
                Banner {
                    width: parent.width
                    text: root.home.problemText
                    visible: text.length > 0
                }
                Item {
                    width: 1
                    height: 8
                    visible: root.home.problemText.length > 0
                }
                Banner {
                    width: parent.width
                    closable: true
                    iconName: "exclamation-circle-fill"
                    text: root.home.noticeText
                    visible: text.length > 0
                    onClosed: root.home.dismissNotice()
                }
                Item {
                    width: 1
                    height: 8
                    visible: root.home.noticeText.length > 0
                }
                InputBar {
                    id: input

                    width: parent.width
                    app: root.app
                    compact: root.narrow
                }
                Item {
                    width: 1
                    height: root.narrow ? 9 : 18
                }
                RunningHeader {
                    width: parent.width
                    compact: root.narrow
                    home: root.home
                }
                Item {
                    width: 1
                    height: root.narrow ? 6 : 14
                }
                Rectangle {
                    width: parent.width
                    height: 1
                    color: Theme.line
                }
                Item {
                    width: 1
                    height: root.narrow ? 12 : 18
                }
                DayHeader {
                    id: dayHeader

                    width: parent.width
                    compact: root.narrow
                    home: root.home
                }
                Item {
                    width: 1
                    height: 7
                }
                Ribbon {
                    id: ribbon

                    width: parent.width
                    home: root.home
                    pointedTask: root.pointedTask
                    onTaskPointed: taskId => root.pointedTask = taskId
                }
            }

            EmptyDay {
                id: emptyDay

                y: top.height + (root.narrow ? 40 : 84)
                width: parent.width
                app: root.app
                compact: root.narrow
                visible: root.home.empty
            }
            TaskList {
                id: tasks

                y: top.height + 14
                width: root.narrow ? parent.width : parent.width - 284 - 36
                home: root.home
                visible: !root.home.empty
                onDeleteWanted: (taskId, title) => root.deleteWanted(taskId, title)
                onPointedTaskChanged: root.pointedTask = pointedTask
                onReasonWanted: taskId => switches.editReasonOf(taskId)
            }
            SummaryCard {
                id: summary

                x: switches.x
                y: root.narrow ? tasks.y + tasks.height + 28 : tasks.y
                width: switches.width
                shown: !root.home.empty
                summary: root.app.summary
            }
            SwitchList {
                id: switches

                x: root.narrow ? 0 : parent.width - 284
                y: summary.y + summary.implicitHeight
                width: root.narrow ? parent.width : 284
                home: root.home
                visible: !root.home.empty
            }
        }
    }
}
