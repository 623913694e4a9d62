import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// The first-run steps, in place of the window's pages: where one stands at the top, the step, and the ways on.
FocusScope {
    id: root

    required property WindowModel app
    readonly property OnboardingModel onboarding: app.onboarding
    readonly property AccountModel account: app.account
    readonly property string step: onboarding.step
    readonly property bool asksForProfile: step === "role" || step === "useCase" || step === "source"
    readonly property bool canSignIn: step === "signIn" && !account.signedIn && account.networkProblem.length === 0
    readonly property int margin: width < 760 ? 20 : 40

    readonly property string heading: {
        switch (step) {
        case "welcome":
            return qsTr("Welcome to Tolvik");
        case "howItWorks":
            return qsTr("How it works");
        case "permissions":
            return qsTr("Three things to allow");
        case "role":
            return qsTr("What do you do?");
        case "useCase":
            return qsTr("What brings you here?");
        case "source":
            return qsTr("How did you hear of Tolvik?");
        default:
            return account.signedIn ? qsTr("You are signed in") : account.step === "code" ? qsTr("Enter the code") : qsTr("An account, if you like");
        }
    }
    readonly property string note: {
        switch (step) {
        case "welcome":
            return qsTr("Your voice keeps the log of your time.");
        case "howItWorks":
            return qsTr("Hold the chord anywhere, say one sentence, let go.");
        case "permissions":
            return qsTr("Tolvik listens only while you hold the chord.");
        case "role":
            return qsTr("It helps dictation guess the right words. You can skip this.");
        case "useCase":
        case "source":
            return qsTr("It is told to your server only when you sign in. You can skip this.");
        default:
            return account.signedIn ? qsTr("All is set.") : account.step === "code" ? qsTr("Sent to %1.").arg(account.enteredEmail) : qsTr("Tracking works without one. Signing in keeps your devices in step.");
        }
    }
    readonly property string forward: canSignIn ? (account.busy ? (account.step === "code" ? qsTr("Verifying…") : qsTr("Sending…")) : account.step === "code" ? qsTr("Verify") : qsTr("Send code")) : step === "signIn" ? qsTr("Start tracking") : qsTr("Continue")
    readonly property bool forwardEnabled: !canSignIn || (!account.busy && (account.step === "code" ? account.code.length === 6 : account.enteredEmail.trim().length > 0))

    function goOn(): void {
        if (!canSignIn)
            onboarding.next();
        else if (account.step === "code")
            account.verify();
        else
            account.sendCode();
    }
    function goBack(): void {
        if (step === "signIn" && account.step === "code" && !account.signedIn)
            account.back();
        else if (onboarding.stepIndex > 0)
            onboarding.back();
    }
    // The first thing to do on the step, else the way on.
    function focusStep(): void {
        flick.contentY = 0;
        const question = body.item as QuestionStep;
        const form = body.item as SignInStep;
        if (question)
            question.focusFirst();
        else if (form && canSignIn)
            form.focusFirst();
        else
            next.forceActiveFocus(Qt.OtherFocusReason);
    }
    // Keeps what has the focus in sight where the window is small.
    function reveal(item: Item): void {
        if (!item || !flick.interactive)
            return;
        let parent = item;
        while (parent && parent !== column)
            parent = parent.parent;
        if (parent !== column)
            return;
        const top = item.mapToItem(column, 0, 0).y + column.y;
        const room = 20;
        if (top - room < flick.contentY)
            flick.contentY = Math.max(0, top - room);
        else if (top + item.height + room > flick.contentY + flick.height)
            flick.contentY = Math.min(flick.contentHeight - flick.height, top + item.height + room - flick.height);
    }

    onStepChanged: settled.restart()
    Component.onCompleted: settled.restart()
    Window.onActiveFocusItemChanged: reveal(Window.activeFocusItem)
    Keys.onEscapePressed: goBack()
    Keys.onPressed: event => {
        if (event.key === Qt.Key_Left && event.modifiers === Qt.AltModifier) {
            goBack();
            event.accepted = true;
        } else if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter) && forwardEnabled) {
            // What has the focus took none of it.
            goOn();
            event.accepted = true;
        }
    }

    // The step's own items are there a turn later.
    Timer {
        id: settled

        interval: 0
        onTriggered: root.focusStep()
    }
    Item {
        id: header

        width: parent.width
        height: 80

        Mark {
            x: root.margin + 1
            anchors.verticalCenter: parent.verticalCenter
            zoom: 1.12
        }
        Label {
            x: root.margin + 36
            anchors.verticalCenter: parent.verticalCenter
            font.weight: Font.DemiBold
            size: 16
            text: "Tolvik"
        }
        Item {
            id: ribbon

            readonly property int part: Math.round((root.width < 760 ? 224 : 392) / root.onboarding.stepCount)

            anchors.right: count.left
            anchors.rightMargin: 18
            anchors.verticalCenter: parent.verticalCenter
            width: part * root.onboarding.stepCount
            height: 20
            Accessible.role: Accessible.ProgressBar
            Accessible.name: qsTr("Step %1 of %2").arg(root.onboarding.stepIndex + 1).arg(root.onboarding.stepCount)

            Rectangle {
                y: 6
                width: parent.width
                height: 8
                radius: 4
                color: Theme.sunk
                border.width: Theme.highContrast ? 1 : 0
                border.color: Theme.edge
            }
            Repeater {
                model: root.onboarding.stepIndex + 1

                delegate: Rectangle {
                    required property int index

                    x: index * ribbon.part
                    y: 6
                    width: ribbon.part - 2
                    height: 8
                    radius: 3
                    color: Theme.dark ? Theme.t2 : "#28332F"
                }
            }
            Rectangle {
                x: (root.onboarding.stepIndex + 1) * ribbon.part - 2
                width: 3
                height: 20
                radius: 1.5
                color: Theme.accent

                Behavior on x  {
                    enabled: !Theme.reducedMotion
                    NumberAnimation {
                        duration: Theme.stateMs
                        easing.type: Easing.OutCubic
                    }
                }
            }
        }
        Label {
            id: count

            anchors.right: parent.right
            anchors.rightMargin: root.margin
            anchors.verticalCenter: parent.verticalCenter
            color: Theme.t3
            size: Theme.secondary
            text: qsTr("%1 of %2").arg(root.onboarding.stepIndex + 1).arg(root.onboarding.stepCount)
        }
    }
    Flickable {
        id: flick

        anchors.top: header.bottom
        anchors.bottom: footer.top
        width: parent.width
        boundsBehavior: Flickable.StopAtBounds
        clip: true
        contentHeight: column.y + column.height + 8
        contentWidth: width
        interactive: contentHeight > height

        T.ScrollBar.vertical: ScrollBar {
        }

        Column {
            id: column

            x: Math.round((root.width - width) / 2)
            y: root.height < 640 ? 8 : root.height < 790 ? 12 : 42
            width: Math.min(640, root.width - 2 * root.margin)

            Label {
                width: parent.width
                font.family: Theme.displayFamily
                font.letterSpacing: -0.5
                font.pixelSize: 28
                font.weight: Font.DemiBold
                lineHeight: 36
                text: root.heading
                wrapMode: Text.Wrap
                Accessible.ignored: false
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Label {
                topPadding: 6
                width: parent.width
                color: Theme.t2
                lineHeight: 22
                size: Theme.section
                text: root.note
                wrapMode: Text.Wrap
                Accessible.ignored: false
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Item {
                width: 1
                height: root.height < 640 ? 16 : 24
            }
            Banner {
                width: parent.width
                text: root.onboarding.problem
                visible: text.length > 0
            }
            Loader {
                id: body

                width: parent.width
                sourceComponent: root.asksForProfile ? question : root.step === "welcome" ? welcome : root.step === "howItWorks" ? howItWorks : root.step === "permissions" ? permissions : signIn
            }
        }
    }
    Item {
        id: footer

        anchors.bottom: parent.bottom
        width: parent.width
        height: root.height < 640 ? 60 : 76

        Rectangle {
            width: parent.width
            height: 1
            color: Theme.line
        }
        PushButton {
            id: back

            x: root.margin
            anchors.verticalCenter: parent.verticalCenter
            iconName: "arrow-left"
            text: qsTr("Back")
            visible: root.onboarding.stepIndex > 0
            onClicked: root.goBack()
        }
        PushButton {
            id: skip

            anchors.right: next.left
            anchors.rightMargin: 12
            anchors.verticalCenter: parent.verticalCenter
            kind: PushButton.Plain
            text: root.canSignIn ? qsTr("Not now") : root.asksForProfile ? qsTr("Skip") : qsTr("Skip setup")
            tint: Theme.t2
            visible: root.asksForProfile || root.canSignIn || root.step === "welcome" || root.step === "howItWorks"
            onClicked: {
                if (root.canSignIn)
                    root.onboarding.next();
                else if (root.asksForProfile)
                    root.onboarding.skip();
                else
                    root.onboarding.skipAll();
            }
        }
        PushButton {
            id: next

            anchors.right: parent.right
            anchors.rightMargin: root.margin
            anchors.verticalCenter: parent.verticalCenter
            enabled: root.forwardEnabled
            implicitWidth: Math.max(100, implicitContentWidth + 32)
            kind: PushButton.Filled
            text: root.forward
            onClicked: root.goOn()
        }
    }

    Component {
        id: welcome

        WelcomeStep {
            app: root.app
        }
    }
    Component {
        id: howItWorks

        HowItWorksStep {
            app: root.app
        }
    }
    Component {
        id: permissions

        PermissionsStep {
            app: root.app
        }
    }
    Component {
        id: question

        QuestionStep {
            app: root.app
        }
    }
    Component {
        id: signIn

        SignInStep {
            app: root.app
        }
    }
}
