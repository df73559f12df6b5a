import QtQuick
import Corvane

// The card that shows the state of updates.
Rectangle {
    id: card

    required property UpdaterPresenter presenter
    readonly property color stateColor: Theme[presenter.stateColor]

    implicitHeight: Math.max(words.implicitHeight, next.implicitHeight) + 24
    radius: 8
    color: Qt.alpha(stateColor, 0.05)
    border.width: 1
    border.color: Qt.alpha(stateColor, 0.2)

    Item {
        id: icon
        x: 12
        anchors.verticalCenter: parent.verticalCenter
        width: 16
        height: 16

        Symbol {
            anchors.centerIn: parent
            visible: name !== ""
            name: card.presenter.symbol
            size: 16
            color: Theme[card.presenter.symbolColor]
        }
        Spinner {
            anchors.centerIn: parent
            visible: card.presenter.symbol === ""
            size: 14
            color: Theme[card.presenter.symbolColor]
        }
    }

    Column {
        id: words
        anchors.left: icon.right
        anchors.leftMargin: 10
        anchors.right: next.visible ? next.left : parent.right
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2
        Accessible.role: Accessible.Grouping
        Accessible.name: card.presenter.title

        SpokenText {
            width: parent.width
            text: card.presenter.title
            wrapMode: Text.Wrap
            color: Theme[card.presenter.titleColor]
            font.pixelSize: 13
            font.weight: Font.Medium
        }
        SpokenText {
            width: parent.width
            text: card.presenter.subtitle
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 12
        }
    }

    SmallButton {
        id: next
        anchors.right: parent.right
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        visible: text !== ""
        text: card.presenter.buttonText
        symbol: card.presenter.buttonSymbol
        prominent: card.presenter.buttonProminent
        onClicked: card.presenter.checkForUpdates()
    }
}
