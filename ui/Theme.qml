pragma Singleton
import QtQuick

// Every colour, size and duration of the interface. `dark`, `highContrast` and `reducedMotion` are set from outside.
QtObject {
    id: theme

    property bool dark: false
    property bool highContrast: false
    property bool reducedMotion: false
    // At whole pixels the platform's own rendering is the sharper one.
    property real pixelRatio: 1
    readonly property int textRendering: pixelRatio === 1 ? Text.NativeRendering : Text.QtRendering

    readonly property color ink: dark ? "#FFFFFF" : "#000000"
    readonly property color paper: dark ? "#000000" : "#FFFFFF"

    readonly property color page: highContrast ? paper : dark ? "#151A19" : "#FFFFFF"
    readonly property color side: highContrast ? paper : dark ? "#101413" : "#F1F4F2"
    readonly property color sunk: highContrast ? paper : dark ? "#1F2625" : "#F1F4F2"
    readonly property color raised: highContrast ? paper : dark ? "#1F2625" : "#FFFFFF"
    readonly property color hover: highContrast ? paper : dark ? "#1B2120" : "#F4F7F5"
    readonly property color soft: highContrast ? paper : dark ? "#142825" : "#E8F5F2"
    readonly property color line: highContrast ? ink : dark ? "#2B3432" : "#E1E7E4"
    readonly property color edge: highContrast ? ink : dark ? "#6F7E79" : "#84918B"
    readonly property color t1: highContrast ? ink : dark ? "#E8EEEB" : "#13201C"
    readonly property color t2: highContrast ? ink : dark ? "#AAB7B2" : "#4A5853"
    readonly property color t3: highContrast ? ink : dark ? "#8B9993" : "#5B6963"
    readonly property color accent: highContrast ? (dark ? "#7DF0E0" : "#00504A") : dark ? "#4FC9B8" : "#00736A"
    readonly property color accentInk: dark ? "#06201C" : "#FFFFFF"
    readonly property color danger: dark ? "#FF8B80" : "#B3261E"
    readonly property color dangerInk: dark ? "#2A0907" : "#FFFFFF"
    readonly property color warn: dark ? "#E5B454" : "#855600"
    readonly property color pill: highContrast ? paper : dark ? "#161C1B" : "#FFFFFF"
    readonly property real scrim: dark ? 0.56 : 0.36

    readonly property var taskColors: dark ? ["#88DAF7", "#E57A1F", "#CAD49B", "#7E57D1", "#F2C44C", "#8EA0FE", "#BE4670", "#378A85", "#C377BA", "#66AE81", "#A2ACB0", "#926C3C"] : ["#4E8EC1", "#A7480F", "#6E955F", "#651491", "#BC7311", "#5260CF", "#830748", "#01575A", "#915489", "#0D7A57", "#858891", "#5E4029"]
    readonly property var projectColors: dark ? ["#516CDA", "#8EDCE8", "#C78E1D", "#C295FF", "#5FA277", "#9B5C89", "#D1D779", "#C14537", "#E8C5BB", "#989AA3"] : ["#3346C0", "#4796A5", "#8E5A00", "#9278EE", "#026349", "#771764", "#929018", "#880921", "#AB7D6F", "#686B74"]

    function taskColor(index: int): color {
        return index < 0 ? edge : taskColors[index % taskColors.length];
    }
    function projectColor(index: int): color {
        return index < 0 ? edge : projectColors[index % projectColors.length];
    }

    readonly property string family: "Inter"
    readonly property string displayFamily: "Inter Display"
    readonly property int axis: 11
    readonly property int caption: 12
    readonly property int secondary: 13
    readonly property int body: 14
    readonly property int section: 15
    readonly property int pageTitle: 22
    readonly property int runningTitle: 24
    readonly property int reportTotal: 44
    readonly property int clock: 48

    function lineHeight(size: int): int {
        switch (size) {
        case 11:
            return 14;
        case 12:
            return 16;
        case 22:
            return 28;
        case 24:
            return 32;
        case 44:
            return 48;
        case 48:
            return 52;
        default:
            return 20;
        }
    }

    readonly property int controlRadius: 8
    readonly property int hoverMs: 80
    readonly property int stateMs: reducedMotion ? 80 : 160
    readonly property int enterMs: reducedMotion ? 80 : 200
    readonly property int exitMs: reducedMotion ? 80 : 120
    readonly property int rise: reducedMotion ? 0 : 8
}
