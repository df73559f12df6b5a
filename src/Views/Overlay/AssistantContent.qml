import QtQuick
import Corvane.Overlay
import Corvane.Shared

// The note and the cards of the assessment, with a sign while more of it arrives.
Column {
    id: answer

    required property ResponsePopoverPresenter presenter

    spacing: 12

    Loader {
        active: answer.presenter.noteVisible
        visible: active
        width: answer.width
        sourceComponent: AssistantSectionCard {
            width: answer.width
            title: "Note"
            symbol: "sparkles"
            stream: answer.presenter.note
            onLinkActivated: link => answer.presenter.openLink(link)
        }
    }

    Column {
        visible: answer.presenter.assessmentVisible
        width: answer.width
        spacing: 12
        opacity: answer.presenter.assessmentOpacity
        Behavior on opacity {
            NumberAnimation {
                duration: 200
                easing.type: Easing.InOutQuad
            }
        }

        Repeater {
            model: answer.presenter.assessment

            AssistantSectionCard {
                required title
                required symbol
                required tone
                required stream

                width: answer.width
                onLinkActivated: link => answer.presenter.openLink(link)
            }
        }
    }

    Row {
        visible: opacity > 0
        opacity: answer.presenter.updating ? 1 : 0
        spacing: 6
        Behavior on opacity {
            NumberAnimation {
                duration: 200
                easing.type: Easing.InOutQuad
            }
        }

        Spinner {
            size: 10
            color: Theme.tertiary
            anchors.verticalCenter: parent.verticalCenter
        }
        SpokenText {
            text: "Updating…"
            color: Theme.tertiary
            font.pixelSize: 11
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
