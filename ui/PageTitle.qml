import QtQuick

// The name of a page.
Label {
    font.weight: Font.DemiBold
    font.letterSpacing: -0.3
    size: Theme.pageTitle
    Accessible.ignored: false
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
