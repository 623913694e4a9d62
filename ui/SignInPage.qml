pragma ComponentBehavior: Bound
import QtQuick
import QtQuick.Templates as T
import Tolvik.Models
import Tolvik.Ui

// Signing in by a code that is mailed: first the address, then the code.
FocusScope {
    id: root

    required property WindowModel app
    readonly property AccountModel account: app.account
    readonly property bool onCode: account.step === "code"

    signal leaving

    function focusStep(): void {
        if (onCode)
            code.forceActiveFocus(Qt.OtherFocusReason);
        else
            email.forceActiveFocus(Qt.OtherFocusReason);
    }

    onOnCodeChanged: focusStep()
    Component.onCompleted: {
        account.beginSignIn();
        email.text = account.enteredEmail;
        focusStep();
    }
    Connections {
        target: root.account

        function onSignInDone(): void {
            root.leaving();
        }
        function onSignInChanged(): void {
            if (code.text !== root.account.code)
                code.text = root.account.code;
        }
    }

    Column {
        id: form

        anchors.horizontalCenter: parent.horizontalCenter
        y: Math.max(24, Math.round(root.height * 0.2625))
        width: Math.min(376, parent.width - 40)

        Mark {
            zoom: 1.7
        }
        Item {
            width: 1
            height: 29
        }
        Label {
            width: parent.width
            font.weight: Font.DemiBold
            font.letterSpacing: -0.4
            size: Theme.runningTitle
            text: root.onCode ? qsTr("Enter the code") : qsTr("Sign in")
            Accessible.ignored: false
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Item {
            width: 1
            height: 8
        }
        Label {
            width: parent.width
            color: Theme.t2
            lineHeight: 21
            text: root.onCode ? qsTr("Sent to <b>%1</b>.").arg(root.account.enteredEmail.replace(/&/g, "&amp;").replace(/</g, "&lt;")) : qsTr("We mail you a code. There is no password.")
            textFormat: Text.StyledText
            Accessible.ignored: false
            Accessible.role: Accessible.StaticText
            Accessible.name: root.onCode ? qsTr("Sent to %1.").arg(root.account.enteredEmail) : text
        }
        Label {
            width: parent.width
            color: Theme.t2
            lineHeight: 21
            text: root.account.hint
            visible: root.onCode
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Item {
            width: 1
            height: 23
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
            topPadding: 8
            width: parent.width
            color: Theme.danger
            size: Theme.secondary
            text: root.account.error.length > 0 ? root.account.error : root.account.networkProblem
            visible: text.length > 0
            wrapMode: Text.Wrap
            Accessible.ignored: !visible
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        Item {
            width: 1
            height: 22
        }
        Row {
            width: parent.width
            spacing: 10

            PushButton {
                id: back

                iconName: root.onCode ? "arrow-left" : ""
                implicitHeight: 40
                text: root.onCode ? qsTr("Back") : qsTr("Not now")
                onClicked: {
                    if (root.onCode)
                        root.account.back();
                    else
                        root.leaving();
                }
            }
            PushButton {
                implicitHeight: 40
                width: parent.width - back.width - 10
                enabled: !root.account.busy && root.account.networkProblem.length === 0 && (root.onCode ? root.account.code.length === 6 : email.text.trim().length > 0)
                kind: PushButton.Filled
                text: root.account.busy ? (root.onCode ? qsTr("Verifying…") : qsTr("Sending…")) : root.onCode ? qsTr("Verify") : qsTr("Send code")
                Accessible.description: root.account.networkProblem
                onClicked: {
                    if (root.onCode)
                        root.account.verify();
                    else
                        root.account.sendCode();
                }
            }
        }
        Row {
            topPadding: 12
            visible: root.onCode

            Label {
                anchors.verticalCenter: again.verticalCenter
                color: Theme.t2
                size: Theme.secondary
                text: qsTr("No code?")
            }
            PushButton {
                id: again

                enabled: !root.account.busy
                implicitHeight: 32
                implicitWidth: 96
                kind: PushButton.Plain
                text: qsTr("Send it again")
                Accessible.name: qsTr("Send the code again")
                onClicked: root.account.sendCode()
            }
        }
    }
    Label {
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 23
        anchors.horizontalCenter: parent.horizontalCenter
        width: Math.min(implicitWidth, parent.width - 40)
        color: Theme.t2
        size: Theme.secondary
        text: qsTr("Tracking works without an account. Signing in keeps your devices in step.")
        visible: root.height > 560
        Accessible.ignored: !visible
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
