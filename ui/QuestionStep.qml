import QtQuick
import Tolvik.Models
import Tolvik.Ui

// A question with a fixed list of answers: arrow keys walk along them, the space bar chooses, Enter goes on.
Flow {
    id: root

    required property WindowModel app
    readonly property OnboardingModel onboarding: app.onboarding

    function focusFirst(): void {
        let wanted = 0;
        for (let i = 0; i < repeater.count; ++i) {
            if ((repeater.itemAt(i) as ChoicePill).chosen)
                wanted = i;
        }
        if (repeater.count > 0)
            repeater.itemAt(wanted).forceActiveFocus(Qt.TabFocusReason);
    }
    function walk(from: int, by: int): void {
        const to = from + by;
        if (to >= 0 && to < repeater.count)
            repeater.itemAt(to).forceActiveFocus(Qt.TabFocusReason);
    }

    spacing: 12

    Repeater {
        id: repeater

        model: root.onboarding.options

        delegate: ChoicePill {
            required property int index
            required property var modelData

            chosen: root.onboarding.answer === modelData.id
            takesEnter: false
            text: modelData.name
            Keys.onRightPressed: root.walk(index, 1)
            Keys.onDownPressed: root.walk(index, 1)
            Keys.onLeftPressed: root.walk(index, -1)
            Keys.onUpPressed: root.walk(index, -1)
            onClicked: root.onboarding.answer = modelData.id
        }
    }
}
