import QtQuick
import Corvane

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
