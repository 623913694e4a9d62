pragma ComponentBehavior: Bound
import QtQuick
import Tolvik.Models

// The time of the range as stacked bars, joined to the projects beside them. One stop for Tab; ← and → walk along the
// bars, Enter goes to the day.
Item {
    id: root

    required property ReportsModel reports
    property bool narrow: false
    readonly property int legendWidth: narrow ? width : Math.max(300, Math.round(width * 0.325))
    readonly property int axisWidth: reports.ticks.length > 0 ? 26 : 0
    readonly property int plotWidth: (narrow ? width : width - legendWidth - 36) - axisWidth
    readonly property int plotHeight: 214
    property int current: -1

    implicitHeight: 56 + plotHeight + 48 + (narrow ? legend.height + 12 : 0)

    Label {
        y: 18
        font.weight: Font.DemiBold
        size: Theme.section
        text: root.reports.chartTitle
        Accessible.ignored: false
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    Repeater {
        model: root.reports.ticks

        delegate: Item {
            id: tick

            required property var modelData

            y: plot.y + root.plotHeight - Math.round(root.barArea * modelData.fraction)
            width: root.axisWidth + root.plotWidth

            Label {
                y: -7
                color: Theme.t3
                size: Theme.axis
                text: tick.modelData.text
            }
            Rectangle {
                x: root.axisWidth
                width: root.plotWidth
                height: 1
                color: Theme.line
            }
        }
    }
    // The highest bar leaves room for its total.
    readonly property int barArea: plotHeight - 22

    FocusScope {
        id: plot

        x: root.axisWidth
        y: 56
        width: root.plotWidth
        height: root.plotHeight
        activeFocusOnTab: true
        objectName: "reportChart"
        Accessible.role: Accessible.List
        Accessible.name: root.reports.chartTitle
        Keys.onLeftPressed: root.current = Math.max(0, root.current - 1)
        Keys.onRightPressed: root.current = Math.min(bars.count - 1, root.current + 1)
        Keys.onReturnPressed: if (root.current >= 0)
            root.reports.showDay((bars.itemAt(root.current) as ReportBar).day)
        onActiveFocusChanged: if (activeFocus && (root.current < 0 || root.current >= bars.count))
            root.current = bars.count - 1

        Repeater {
            id: bars

            model: root.reports.bars

            delegate: ReportBar {
                barArea: root.barArea
                barWidth: Math.max(2, Math.min(44, Math.round(plot.width / Math.max(1, bars.count) * 0.66)))
                current: root.current === index && plot.activeFocus && root.visible
                height: plot.height
                width: plot.width / Math.max(1, bars.count)
                x: index * width
                onPicked: root.reports.showDay(day)
            }
        }
        Rectangle {
            y: root.plotHeight
            width: parent.width
            height: 1
            color: Theme.edge
        }
    }
    // From the last bar's parts to their names.
    Canvas {
        id: joins

        x: root.axisWidth + root.plotWidth
        y: 56
        width: root.width - legend.width - x
        height: root.plotHeight + 20
        visible: !root.narrow

        readonly property var trigger: [root.reports.totalText, root.reports.range, root.reports.filterId, Theme.dark, width, legend.height]

        onTriggerChanged: requestPaint()
        onPaint: {
            const context = getContext("2d");
            context.clearRect(0, 0, width, height);
            const bar = bars.count > 0 ? bars.itemAt(bars.count - 1) as ReportBar : null;
            if (!bar || root.reports.filterId !== "all")
                return;
            const from = -Math.round((bar.width - bar.barWidth) / 2) + 3;
            let below = 0;
            for (const part of bar.segments) {
                const row = legend.rowOf(part.tag);
                const share = part.share * bar.fraction * root.barArea;
                const y = root.plotHeight - below - share / 2;
                below += share;
                if (!row || share < 3)
                    continue;
                const to = legend.y + row.y + row.height / 2 - joins.y;
                context.strokeStyle = Theme.projectColor(part.color);
                context.lineWidth = 1;
                context.beginPath();
                context.moveTo(Math.max(0, from), y);
                context.bezierCurveTo(width * 0.5, y, width * 0.5, to, width - 4, to);
                context.stroke();
            }
        }
    }
    ReportLegend {
        id: legend

        anchors.right: parent.right
        y: root.narrow ? 56 + root.plotHeight + 44 : 56 + Math.max(0, Math.round((root.plotHeight - height) / 2))
        width: root.legendWidth - (root.narrow ? 0 : 6)
        reports: root.reports
        onHeightChanged: joins.requestPaint()
    }
}
