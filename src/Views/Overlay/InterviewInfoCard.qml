import QtQuick
import Corvane

// The topic of the plan or the question to ask next, with buttons for the ones before and after it.
CardSurface {
    id: card

    required property ResponsePopoverPresenter presenter
    required property string noun
    property alias headline: headline.sourceComponent

    implicitHeight: column.implicitHeight + 28
    Accessible.role: Accessible.Grouping
    Accessible.name: presenter.position

    Column {
        id: column
        x: 16
        y: 14
        width: card.width - 32
        spacing: 8

        Item {
            width: parent.width
            height: 28

            Chip {
                id: chip
                visible: text !== ""
                text: card.presenter.chip
                width: Math.min(implicitWidth, parent.width - position.width - buttons.width - 24)
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                id: position
                x: chip.visible ? chip.width + 8 : 0
                anchors.verticalCenter: parent.verticalCenter
                text: card.presenter.position
                textFormat: Text.PlainText
                color: Theme.tertiary
                font.pixelSize: 11
                font.weight: Font.Medium
            }
            Row {
                id: buttons
                visible: card.presenter.navigable
                anchors.right: parent.right
                spacing: 6

                QuestionNavigationButton {
                    symbol: "chevron.left"
                    text: "Previous " + card.noun
                    enabled: card.presenter.canGoBack
                    onClicked: card.presenter.goBack()
                }
                QuestionNavigationButton {
                    symbol: "chevron.right"
                    text: "Next " + card.noun
                    enabled: card.presenter.canGoForward
                    onClicked: card.presenter.goForward()
                }
            }
        }

        Loader {
            id: headline
            width: parent.width
        }

        SpokenText {
            visible: text !== ""
            width: parent.width
            text: card.presenter.justification
            wrapMode: Text.Wrap
            color: Theme.tertiary
            font.pixelSize: 12
        }
    }
}
