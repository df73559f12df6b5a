import QtQuick
import Corvane.Overlay
import Corvane.Shared

InterviewInfoCard {
    id: card
    noun: "topic"

    headline: Text {
        text: card.presenter.headline
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.primary
        font.pixelSize: 16
        font.weight: Font.DemiBold
    }
}
