import QtQuick
import Tolvik.Models
import Tolvik.Ui

// An account for those who want one: address, then code, then who is signed in.
Column {
    id: root

    required property WindowModel app
    readonly property AccountModel account: app.account
    readonly property OnboardingModel onboarding: app.onboarding
    readonly property bool onCode: account.step === "code"
    readonly property bool canTry: account.networkProblem.length === 0

    function focusFirst(): void {
        if (account.signedIn || !canTry)
            return;
        if (onCode)
            code.forceActiveFocus(Qt.OtherFocusReason);
        else
            email.forceActiveFocus(Qt.OtherFocusReason);
    }

    spacing: 22
    onOnCodeChanged: focusFirst()
    Component.onCompleted: {
        if (!onCode)
            account.beginSignIn();
        email.text = account.enteredEmail;
    }
    Connections {
        target: root.account

        function onSignInChanged(): void {
            if (code.text !== root.account.code)
                code.text = root.account.code;
        }
    }

    Column {
        width: Math.min(440, parent.width)
        spacing: 8
        visible: !root.account.signedIn && root.canTry

        Label {
            width: parent.width
            bottomPadding: 6
            color: Theme.t2
            size: Theme.secondary
            text: root.account.hint
            visible: root.onCode
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Field {
            id: email

            width: parent.width
            implicitHeight: 44
            font.pixelSize: Theme.body
            inputMethodHints: Qt.ImhEmailCharactersOnly | Qt.ImhNoAutoUppercase
            name: qsTr("Email address")
            placeholderText: qsTr("you@example.com")
            visible: !root.onCode
            onTextEdited: root.account.enteredEmail = text
            onAccepted: root.account.sendCode()
            Accessible.description: root.account.error
        }
        CodeField {
            id: code

            readOnly: root.account.busy
            visible: root.onCode
            wrong: root.account.error.length > 0
            onTextEdited: {
                root.account.code = text;
                // What is not a digit never stands.
                text = root.account.code;
            }
            onAccepted: root.account.verify()
            Accessible.description: root.account.error
        }
        Label {
            width: parent.width
            color: Theme.danger
            size: Theme.secondary
            text: root.account.error
            visible: text.length > 0
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        PushButton {
            implicitHeight: 32
            enabled: !root.account.busy
            kind: PushButton.Plain
            text: qsTr("Send it again")
            visible: root.onCode
            x: -12
            Accessible.name: qsTr("Send the code again")
            onClicked: root.account.sendCode()
        }
    }
    SettingsGroup {
        SettingsRow {
            iconName: "person-circle"
            text: qsTr("Changes reach your other devices from now on.")
            title: qsTr("Signed in as %1").arg(root.account.title)
            visible: root.account.signedIn
        }
        SettingsRow {
            iconColor: Theme.t2
            iconName: "cloud-slash"
            text: root.account.networkProblem
            title: qsTr("Not now: there is no way to a server")
            visible: !root.account.signedIn && !root.canTry
        }
        SettingsRow {
            iconColor: root.onboarding.secretsReady ? Theme.accent : Theme.t2
            iconName: "shield-lock-fill"
            problem: root.onboarding.secretsProblem
            ruled: root.account.signedIn || !root.canTry
            text: root.onboarding.secretsReady ? qsTr("The session is kept by this desktop's secret service, never in a file.") : qsTr("Looking for this desktop's secret service…")
            title: qsTr("Secret service")

            Row {
                anchors.verticalCenter: parent.verticalCenter
                spacing: 7
                visible: root.onboarding.secretsReady

                Icon {
                    anchors.verticalCenter: parent.verticalCenter
                    color: Theme.accent
                    name: "check2"
                }
                Label {
                    color: Theme.accent
                    font.weight: Font.Medium
                    size: Theme.secondary
                    text: qsTr("Ready")
                    Accessible.ignored: false
                    Accessible.role: Accessible.StaticText
                    Accessible.name: qsTr("The secret service is ready")
                }
            }
        }
    }
    SettingsGroup {
        title: qsTr("One thing is left")
        visible: !trial.wasDone

        SpeakTrial {
            id: trial

            // What is done here stays to be seen.
            property bool wasDone: false

            obstacle: !root.onboarding.micGranted ? qsTr("Needs the microphone.") : !root.onboarding.speechGranted ? qsTr("Needs speech recognition.") : !root.app.settings.voiceEnabled ? qsTr("Voice control is switched off in the settings.") : ""
            onboarding: root.onboarding
            ruled: false
            Component.onCompleted: wasDone = root.onboarding.hasSpoken
            onSpeakWanted: root.app.toggleVoice()
        }
    }
}
