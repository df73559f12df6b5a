import QtQuick
import Corvane

// Offers the onboarding video, until it has been watched or dismissed.
Material {
    id: strip

    required property OverlayBarPresenter presenter

    implicitWidth: 620
    implicitHeight: 88
    radius: 10

    BaseButton {
        id: watch
        anchors.left: parent.left
        anchors.right: dismiss.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        anchors.leftMargin: 12
        height: 64
        text: "Watch onboarding video"
        Accessible.description: length.text + ". " + tip.text
        onClicked: strip.presenter.watchOnboardingVideo()

        background: Rectangle {
            radius: 8
            color: Qt.alpha(Theme.primary, watch.down ? 0.1 : watch.hovered ? 0.05 : 0)

            FocusRing {
                shown: watch.visualFocus
            }
        }

        contentItem: Row {
            spacing: 12

            OnboardingThumbnail {}
            Column {
                anchors.verticalCenter: parent.verticalCenter
                spacing: 3

                Text {
                    text: watch.text
                    color: Theme.primary
                    font.pixelSize: 13
                    font.weight: Font.Medium
                }
                Text {
                    id: length
                    text: "2 min"
                    color: Theme.secondary
                    font.pixelSize: 11
                }
            }
        }

        NativeToolTipView {
            id: tip
            text: "Open onboarding video in your browser"
        }
    }

    IconButton {
        id: dismiss
        anchors.right: parent.right
        anchors.rightMargin: 14
        anchors.verticalCenter: parent.verticalCenter
        symbol: "xmark"
        symbolSize: 10
        tint: Theme.tertiary
        tip: "Dismiss"
        onClicked: strip.presenter.dismissOnboarding()
    }
}
