import QtQuick
import Corvane

InterviewInfoCard {
    id: card
    noun: "question"

    headline: MarkdownView {
        content: card.presenter.headline
        font.pixelSize: 16
        font.weight: Font.DemiBold
        Accessible.name: card.presenter.position
        onLinkActivated: link => card.presenter.openLink(link)
    }
}
