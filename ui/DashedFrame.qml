import QtQuick

// The dashed outline of a key that is not held.
Canvas {
    property color ink: Theme.edge

    onInkChanged: requestPaint()
    onPaint: {
        const context = getContext("2d");
        context.reset();
        context.strokeStyle = ink;
        context.lineWidth = 1;
        context.setLineDash([3, 3]);
        context.beginPath();
        context.roundedRect(0.5, 0.5, width - 1, height - 1, 8, 8);
        context.stroke();
    }
}
