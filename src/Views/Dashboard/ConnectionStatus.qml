import QtQuick
import Corvane

// The state of the connection to the backend, with a button to reconnect.
Rectangle {
    id: status

    required property CorvaneSetupPresenter presenter

    implicitHeight: 42
    radius: 8
    color: Qt.alpha(Theme.secondary, 0.06)

    Row {
        anchors.left: parent.left
        anchors.leftMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8

        Symbol {
            anchors.verticalCenter: parent.verticalCenter
            visible: status.presenter.statusSymbol !== ""
            name: status.presenter.statusSymbol
            size: 14
            color: Theme[status.presenter.statusColor]
        }
        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            visible: status.presenter.statusSymbol === ""
            size: 14
            color: Theme.secondary
        }
        SpokenText {
            anchors.verticalCenter: parent.verticalCenter
            text: status.presenter.statusText
            color: Theme[status.presenter.statusColor]
            font.pixelSize: 13
            font.weight: Font.Medium
        }
    }

    SmallButton {
        anchors.right: parent.right
        anchors.rightMargin: 8
        anchors.verticalCenter: parent.verticalCenter
        visible: !status.presenter.connected
        symbol: "arrow.clockwise"
        text: "Reconnect"
        onClicked: status.presenter.manualReconnect()
    }
}
