import QtQuick
import Corvane.Overlay
import Corvane.Shared

InterviewInfoCard {
    id: card
    noun: "topic"

    headline: SpokenText {
        text: card.presenter.headline
        wrapMode: Text.Wrap
        color: Theme.primary
        font.pixelSize: 16
        font.weight: Font.DemiBold
    }
}
