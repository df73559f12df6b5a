import QtQuick
import Corvane.Overlay
import Corvane.Shared

// The note and the cards of the assessment, with a sign while more of it arrives.
Column {
    id: content

    required property ResponsePopoverPresenter presenter

    spacing: 12

    Loader {
        active: content.presenter.noteVisible
        visible: active
        width: content.width
        sourceComponent: AssistantSectionCard {
            width: content.width
            title: "Note"
            symbol: "sparkles"
            stream: content.presenter.note
            onLinkActivated: link => content.presenter.openLink(link)
        }
    }

    Column {
        visible: content.presenter.assessmentVisible
        width: content.width
        spacing: 12
        opacity: content.presenter.assessmentOpacity
        Behavior on opacity {
            NumberAnimation {
                duration: 200
                easing.type: Easing.InOutQuad
            }
        }

        Repeater {
            model: content.presenter.assessment

            AssistantSectionCard {
                required title
                required symbol
                required tone
                required stream

                width: content.width
                onLinkActivated: link => content.presenter.openLink(link)
            }
        }
    }

    Row {
        visible: opacity > 0
        opacity: content.presenter.updating ? 1 : 0
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
        Text {
            text: "Updating…"
            color: Theme.tertiary
            font.pixelSize: 11
            anchors.verticalCenter: parent.verticalCenter
        }
    }
}
