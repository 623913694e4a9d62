import QtQuick
import Tolvik.Models
import Tolvik.Ui

// A change that the server refused and that was taken back.
Rectangle {
    id: root

    required property AccountModel account

    implicitHeight: label.implicitHeight + 18
    radius: 10
    color: Theme.raised
    border.color: Theme.danger
    Accessible.role: Accessible.AlertMessage
    Accessible.name: account.rejection

    Icon {
        x: 10
        y: 11
        color: Theme.danger
        name: "exclamation-triangle-fill"
        size: 14
    }
    Label {
        id: label

        x: 32
        y: 9
        width: parent.width - x - 8
        lineHeight: 16
        maximumLineCount: 4
        size: Theme.caption
        text: root.account.rejection
        wrapMode: Text.Wrap
    }
    TapHandler {
        onTapped: root.account.dismissRejection()
    }
}
