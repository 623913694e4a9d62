pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models
import Tolvik.Ui

// What speaking needs, tried on the spot, and the one question about usage.
Column {
    id: root

    required property WindowModel app
    readonly property OnboardingModel onboarding: app.onboarding
    readonly property SettingsModel settings: app.settings
    property bool testing: false
    property bool wasHeard: false

    spacing: 16
    onTestingChanged: wasHeard = false
    Component.onDestruction: settings.metering = false

    // Opens the microphone only while the person tests it and does not speak a command.
    Binding {
        target: root.settings
        property: "metering"
        value: root.testing && root.onboarding.micGranted && root.app.pill.phase === "idle"
        restoreMode: Binding.RestoreNone
    }
    Connections {
        target: root.settings

        function onLevelChanged(): void {
            if (root.settings.level > 0.45)
                root.wasHeard = true;
        }
    }

    SettingsGroup {
        PermissionRow {
            granted: root.onboarding.micGranted
            iconName: "mic"
            problem: root.settings.microphoneProblem
            text: root.wasHeard ? qsTr("Your voice comes through.") : root.testing ? qsTr("Say something: the bars move with your voice.") : qsTr("To hear you while the chord is held.")
            title: qsTr("Microphone")
            onAllowWanted: root.onboarding.lookAgain()
            onSettingsWanted: root.settings.openSystemSettings()

            LevelMeter {
                anchors.verticalCenter: parent.verticalCenter
                level: root.settings.level
                visible: root.testing
            }
            PushButton {
                implicitHeight: 32
                text: root.testing ? qsTr("Stop") : qsTr("Test")
                Accessible.name: root.testing ? qsTr("Stop testing the microphone") : qsTr("Test the microphone")
                onClicked: root.testing = !root.testing
            }
        }
        PermissionRow {
            granted: root.onboarding.speechGranted
            iconName: "soundwave"
            problem: root.settings.engineProblem
            ruled: true
            text: qsTr("Runs on this device.")
            title: qsTr("Speech recognition")
            onAllowWanted: root.onboarding.lookAgain()
            onSettingsWanted: root.settings.openSystemSettings()
        }
        PermissionRow {
            granted: root.onboarding.accessibilityGranted
            iconName: "keyboard"
            problem: root.settings.chordProblem
            ruled: true
            text: qsTr("Sees modifier keys in every app, nothing else.")
            title: qsTr("Accessibility")
            onAllowWanted: root.onboarding.lookAgain()
            onSettingsWanted: root.settings.openSystemSettings()
        }
    }
    ChordCard {
        chord: root.settings.chord
        hint: root.settings.chord.chordKeys.length === 2 ? qsTr("Hold both, speak, let go.") : qsTr("Hold all three, speak, let go.")
        pressed: root.onboarding.heldKeys
        title: qsTr("Your chord")

        SpeakTrial {
            obstacle: !root.onboarding.micGranted ? qsTr("Needs the microphone.") : !root.onboarding.speechGranted ? qsTr("Needs speech recognition.") : !root.settings.voiceEnabled ? qsTr("Voice control is switched off in the settings.") : ""
            onboarding: root.onboarding
            onSpeakWanted: root.app.toggleVoice()
        }
    }
    UsageQuestion {
        privacy: root.app.privacy
        visible: root.app.privacy !== null
        width: parent.width
    }
}
