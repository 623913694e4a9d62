import QtQuick
import Tolvik.Models
import Tolvik.Ui

// The first spoken command, tried on the spot: what to say, what was heard, what came of it.
Item {
    id: root

    required property OnboardingModel onboarding
    // Why nobody can speak yet; empty when one can.
    property string obstacle
    property bool ruled: true
    readonly property string state_: obstacle.length > 0 ? "blocked" : onboarding.trial
    readonly property string line: {
        switch (state_) {
        case "blocked":
            return obstacle;
        case "listening":
            return onboarding.heard.length > 0 ? "“" + onboarding.heard + "”" : qsTr("Listening… let go when you are done.");
        case "working":
            return qsTr("Working it out…");
        case "done":
            return onboarding.outcome.length > 0 ? qsTr("That was a command: %1").arg(onboarding.outcome) : qsTr("You have spoken your first command.");
        case "missed":
            return onboarding.heard.length > 0 ? qsTr("Heard “%1”. %2").arg(onboarding.heard).arg(onboarding.outcome) : onboarding.outcome;
        default:
            return qsTr("It starts your first task. “Undo” takes it back.");
        }
    }

    signal speakWanted

    width: parent ? parent.width : 0
    implicitHeight: 60

    Rectangle {
        width: parent.width
        height: 1
        color: Theme.line
        visible: root.ruled
    }
    Icon {
        x: 18
        anchors.verticalCenter: parent.verticalCenter
        color: root.state_ === "done" || root.state_ === "listening" ? Theme.accent : root.state_ === "missed" ? Theme.warn : Theme.t2
        name: root.state_ === "done" ? "check-circle-fill" : root.state_ === "missed" ? "question-lg" : root.state_ === "listening" ? "mic-fill" : "mic"
        size: 16
    }
    Column {
        anchors.left: parent.left
        anchors.leftMargin: 50
        anchors.right: speak.visible ? speak.left : parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter

        Label {
            width: parent.width
            font.weight: Font.Medium
            text: root.state_ === "done" ? qsTr("It works") : qsTr("Try it: say “start the quarterly report”")
        }
        Label {
            width: parent.width
            color: root.state_ === "done" ? Theme.accent : root.state_ === "missed" ? Theme.warn : Theme.t2
            size: Theme.secondary
            text: root.line
            Accessible.ignored: false
            Accessible.role: root.state_ === "waiting" ? Accessible.StaticText : Accessible.AlertMessage
            Accessible.name: (root.state_ === "done" ? qsTr("It works") : qsTr("Try it: say “start the quarterly report”")) + ". " + root.line
        }
    }
    PushButton {
        id: speak

        anchors.right: parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        implicitHeight: 32
        iconName: root.state_ === "listening" ? "stop-fill" : "mic"
        text: root.state_ === "listening" ? qsTr("Done speaking") : qsTr("Speak")
        visible: root.obstacle.length === 0
        Accessible.name: root.state_ === "listening" ? qsTr("Done speaking") : qsTr("Speak without the chord")
        onClicked: root.speakWanted()
    }
}
