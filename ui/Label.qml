import QtQuick

// Text in the interface's type scale.
Text {
    property int size: Theme.body

    color: Theme.t1
    elide: Text.ElideRight
    font.family: size >= 20 ? Theme.displayFamily : Theme.family
    font.pixelSize: size
    lineHeight: Theme.lineHeight(size)
    lineHeightMode: Text.FixedHeight
    renderType: Theme.textRendering
    textFormat: Text.PlainText
    verticalAlignment: Text.AlignVCenter
    Accessible.ignored: true
}
