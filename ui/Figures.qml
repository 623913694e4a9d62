pragma ComponentBehavior: Bound
import QtQuick

// A number whose digits stand in equal cells, so that it does not dance while it counts.
Item {
    id: root

    property string text
    property int size: Theme.body
    property int weight: Font.Medium
    property color color: Theme.t1
    // Letters between the digits ("h", "m") are drawn smaller and lighter when this is set.
    property bool quietUnits: false
    property color unitColor: Theme.t2
    property int unitSize: size
    // Stands at the right of the item's width.
    property bool layoutRight: false

    implicitWidth: row.width
    implicitHeight: Theme.lineHeight(size)

    FontMetrics {
        id: metrics

        font.family: root.size >= 20 ? Theme.displayFamily : Theme.family
        font.pixelSize: root.size
        font.weight: root.weight
    }

    readonly property real cell: {
        // Named so that the width is measured anew when the font changes.
        let widest = 0 * metrics.height;
        for (const digit of "0123456789")
            widest = Math.max(widest, metrics.advanceWidth(digit));
        return Theme.pixelRatio === 1 ? Math.round(widest) : widest;
    }

    Row {
        id: row

        x: root.layoutRight ? root.width - width : 0
        height: parent.height

        Repeater {
            model: root.text.length

            delegate: Label {
                required property int index
                readonly property string sign: root.text.charAt(index)
                readonly property bool isDigit: sign >= "0" && sign <= "9"
                readonly property bool isUnit: root.quietUnits && !isDigit && sign !== "–"

                width: isDigit ? root.cell : sign === " " ? Math.round(root.size * 0.28) : implicitWidth + (isUnit ? 1 : 0)
                height: row.height
                horizontalAlignment: isDigit ? Text.AlignHCenter : isUnit ? Text.AlignRight : Text.AlignHCenter
                verticalAlignment: Text.AlignVCenter
                lineHeight: row.height
                elide: Text.ElideNone
                // Smaller units stand on the digits' line.
                topPadding: isUnit ? Math.round((root.size - root.unitSize) * 0.7) : 0
                size: isUnit ? root.unitSize : root.size
                text: sign
                color: isUnit ? root.unitColor : root.color
                font.weight: isUnit ? Font.Normal : root.weight
                bottomPadding: sign === ":" ? root.size / 10 : 0
            }
        }
    }
}
