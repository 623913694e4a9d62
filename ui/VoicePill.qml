pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models
import Tolvik.Ui

// The content of the floating pill. Its implicit size is that of the visible shape; `shadowMargin` around it is for the
// shadow and, like everything but `undoArea`, lets clicks pass.
Item {
    id: root

    required property PillModel pill
    // A compositor draws transparency: rounded, with a shadow. Without one: opaque and square.
    property bool composited: true
    readonly property int shadowMargin: composited ? 32 : 0
    // What takes the pointer, in the item's coordinates; empty while nothing does.
    readonly property rect undoArea: undo.visible ? Qt.rect(shape.x + undo.x, shape.y, undo.width + 12, shape.height) : Qt.rect(0, 0, 0, 0)
    readonly property string phase: pill.phase
    readonly property bool live: phase === "listening" || phase === "transcribing"
    readonly property bool failed: phase === "error"

    implicitWidth: shape.width + 2 * shadowMargin
    implicitHeight: shape.height + 2 * shadowMargin
    Accessible.role: failed ? Accessible.AlertMessage : Accessible.StatusBar
    Accessible.name: pill.announcement

    Shadow {
        anchors.fill: shape
        anchors.margins: -24
        anchors.topMargin: -16
        anchors.bottomMargin: -32
        blur: 24
        corner: 18
        opacity: 0.28
        visible: root.composited
    }

    Rectangle {
        id: shape

        x: root.shadowMargin
        y: root.shadowMargin
        width: root.live ? 360 : Math.min(360, outcome.width + 46 + 18 + (undo.visible ? undo.width + 16 : 0))
        height: root.live ? 60 : Math.max(44, outcome.height + 24)
        radius: root.composited ? 18 : 0
        color: root.composited ? Qt.rgba(Theme.pill.r, Theme.pill.g, Theme.pill.b, 0.96) : Theme.pill
        // The dark ring outside of the light one keeps the edge visible on every wallpaper.
        border.width: 1
        border.color: root.composited ? Theme.dark ? "#2B3432" : "#2E0C1110" : Theme.edge

        Rectangle {
            anchors.fill: parent
            anchors.margins: root.composited ? (Theme.dark ? -1 : 1) : 0
            radius: parent.radius + (Theme.dark ? 1 : -1)
            color: "transparent"
            border.width: 1
            border.color: Theme.dark ? "#99000000" : "#FFFFFF"
            visible: root.composited
        }
        Rectangle {
            width: 4
            height: parent.height
            color: root.failed ? Theme.danger : Theme.accent
            visible: !root.composited
        }

        // Listening and transcribing.
        Item {
            anchors.fill: parent
            visible: root.live

            Wave {
                x: 15
                y: 14
                levels: root.pill.levels
                listening: root.phase === "listening"
                running: root.live
            }
            Item {
                id: textRow

                x: 82
                y: 10
                width: 264
                height: 20
                clip: true

                Label {
                    id: transcript

                    x: Math.min(0, textRow.width - implicitWidth)
                    color: root.phase === "transcribing" || root.pill.transcript.length === 0 ? Theme.t2 : Theme.t1
                    elide: Text.ElideNone
                    font.weight: root.pill.transcript.length > 0 ? Font.Medium : Font.Normal
                    text: root.pill.transcript.length > 0 ? root.pill.transcript : root.phase === "transcribing" ? qsTr("Transcribing…") : qsTr("Listening…")
                    size: 14
                }
                Rectangle {
                    width: 36
                    height: parent.height
                    visible: transcript.x < 0
                    gradient: Gradient {
                        orientation: Gradient.Horizontal

                        GradientStop {
                            position: 0
                            color: Theme.pill
                        }
                        GradientStop {
                            position: 1
                            color: Qt.rgba(Theme.pill.r, Theme.pill.g, Theme.pill.b, 0)
                        }
                    }
                }
            }
            Row {
                x: 82
                y: 32
                spacing: 7

                Label {
                    color: Theme.t2
                    lineHeight: 18
                    size: 12
                    text: root.phase === "transcribing" ? root.pill.transcript.length > 0 ? qsTr("Transcribing…") : "" : qsTr("Release to finish")
                    visible: pendingLabel.text.length === 0 || root.phase === "transcribing"
                }
                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.accent
                    name: root.pill.pendingIcon
                    size: 14
                    visible: pendingLabel.visible
                }
                Swatch {
                    anchors.verticalCenter: parent.verticalCenter
                    colorIndex: root.pill.pendingColor
                    implicitWidth: 8
                    visible: pendingLabel.visible && root.pill.pendingColor >= 0
                }
                Label {
                    id: pendingLabel

                    width: Math.min(implicitWidth, 204 - (countdown.visible ? countdown.width - 14 : 0))
                    color: Theme.t2
                    lineHeight: 18
                    size: 12
                    text: root.pill.pendingTitle
                    visible: text.length > 0 && root.phase === "listening"
                }
            }
            Row {
                anchors.right: parent.right
                anchors.rightMargin: 14
                y: 33
                spacing: 6

                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.accent
                    name: root.pill.sent ? "cloud-arrow-up-fill" : "shield-lock-fill"
                    size: 12
                    visible: !countdown.visible
                }
                Label {
                    color: Theme.t2
                    lineHeight: 16
                    size: 11
                    text: root.pill.sent ? qsTr("Sent") : qsTr("On device")
                    visible: !countdown.visible && !pendingLabel.visible
                }
                Figures {
                    id: countdown

                    height: 16
                    color: Theme.warn
                    size: 11
                    text: "0:" + String(root.pill.secondsLeft).padStart(2, "0") + qsTr(" left")
                    visible: root.pill.secondsLeft >= 0 && root.phase === "listening"
                    weight: Font.DemiBold
                }
            }
        }

        // The outcome or the error.
        Item {
            anchors.fill: parent
            visible: !root.live

            Rectangle {
                x: root.composited ? 8 : 12
                anchors.verticalCenter: parent.verticalCenter
                width: 28
                height: 28
                radius: root.composited ? 14 : 7
                color: root.failed ? Theme.danger : root.pill.outcomeIsForward ? Theme.accent : Theme.t2

                Icon {
                    anchors.centerIn: parent
                    anchors.horizontalCenterOffset: name === "play-fill" ? 1 : 0
                    color: root.failed ? Theme.dangerInk : root.pill.outcomeIsForward ? Theme.accentInk : Theme.pill
                    name: root.failed ? "exclamation-lg" : root.pill.outcomeIcon
                    size: name === "play-fill" || name === "pause-fill" ? 18 : 14
                }
            }
            Item {
                id: outcome

                readonly property int room: 360 - 46 - 18 - (undo.visible ? undo.width + 16 : 0)

                x: root.composited ? 46 : 50
                anchors.verticalCenter: parent.verticalCenter
                width: Math.min(room, root.failed ? errorText.implicitWidth : Math.ceil(outcomeTitle.implicitWidth + outcomeReason.implicitWidth))
                height: root.failed ? Math.min(60, errorText.contentHeight) : 20

                Label {
                    id: errorText

                    width: parent.room
                    font.weight: Font.Medium
                    maximumLineCount: 3
                    size: 14
                    text: root.pill.error
                    visible: root.failed
                    wrapMode: Text.Wrap
                }
                Label {
                    id: outcomeTitle

                    width: Math.min(implicitWidth, outcome.room - Math.min(outcomeReason.implicitWidth, outcome.room / 2))
                    font.weight: Font.DemiBold
                    size: 14
                    text: root.pill.outcomeTitle
                    visible: !root.failed
                }
                Label {
                    id: outcomeReason

                    x: outcomeTitle.width
                    width: Math.min(implicitWidth, outcome.room - x)
                    color: Theme.t2
                    size: 14
                    text: root.pill.outcomeReason.length > 0 ? " · " + root.pill.outcomeReason : ""
                    visible: !root.failed
                }
            }
            PushButton {
                id: undo

                anchors.right: parent.right
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                implicitHeight: 32
                focusPolicy: Qt.NoFocus
                kind: PushButton.Plain
                text: qsTr("Undo")
                visible: root.phase === "done" && root.pill.offersUndo
                Accessible.name: qsTr("Undo: %1").arg(root.pill.outcomeTitle)
                onClicked: root.pill.undo()
                onHoveredChanged: if (hovered)
                    root.pill.keepUndoOffer()
            }
        }
    }
}
