import QtQuick
import Corvane

// The card under the bar: banners, the plan or the question to ask next, and the assessment as it is written.
Item {
    id: view

    required property ResponsePopoverPresenter presenter

    implicitWidth: 620
    clip: true

    Material {
        anchors.fill: parent
        radius: 10
        strength: view.presenter.materialStrength
    }

    Column {
        id: top
        width: parent.width

        Loader {
            readonly property Component microphoneFallbackBanner: Banner {
                radius: 10
                symbol: "mic.fill"
                symbolColor: Theme.secondary
                title: "Using microphone only"
                text: "System audio unavailable. Allow Screen & System Audio Recording in System Settings for full audio."

                SmallButton {
                    text: "Retry"
                    prominent: true
                    onClicked: view.presenter.retryAudio()
                }
                SmallButton {
                    text: "Open Settings"
                    onClicked: view.presenter.openCaptureSettings()
                }
            }
            readonly property Component audioWarningBanner: Banner {
                radius: 10
                symbol: "exclamationmark.triangle.fill"
                symbolColor: Theme.orange
                text: view.presenter.audioWarning
                fill: Qt.alpha(Theme.orange, 0.06)

                SmallButton {
                    text: "Retry"
                    onClicked: view.presenter.retryAudio()
                }
            }

            width: parent.width
            visible: sourceComponent !== null
            sourceComponent: view.presenter.microphoneFallback ? microphoneFallbackBanner
                           : view.presenter.audioWarning !== "" ? audioWarningBanner : null
        }

        Banner {
            width: parent.width
            visible: view.presenter.silenceNotice !== ""
            radius: 10
            symbol: "exclamationmark.triangle.fill"
            symbolColor: Theme.orange
            text: view.presenter.silenceNotice
            fill: Qt.alpha(Theme.orange, 0.06)
        }

        Loader {
            width: parent.width
            visible: active
            active: view.presenter.noticeTitle !== ""
            sourceComponent: Banner {
                radius: 10
                symbol: view.presenter.noticeSymbol
                symbolColor: Theme.orange
                title: view.presenter.noticeTitle
                text: view.presenter.noticeText
                fill: Qt.alpha(Theme.orange, 0.06)
            }
        }

        Item {
            width: parent.width
            height: interviewInfoSection.sourceComponent ? interviewInfoSection.height + 20 : 0

            Loader {
                id: interviewInfoSection

                readonly property Component interviewPlanCard: InterviewPlanCard {
                    presenter: view.presenter
                }
                readonly property Component interviewQuestionsCard: InterviewQuestionsCard {
                    presenter: view.presenter
                }
                readonly property Component transcriptGatheringPlaceholder: HintCard {
                    title: "Gathering transcript"
                    line: "Switch to Assessment to get follow-up questions."
                }

                x: 16
                y: 14
                width: parent.width - 32
                sourceComponent: ({ "plan": interviewPlanCard, "questions": interviewQuestionsCard,
                                    "gathering": transcriptGatheringPlaceholder })[view.presenter.infoSection] ?? null
            }
        }
    }

    ResponseContent {
        y: top.height
        width: parent.width
        height: Math.max(0, parent.height - y)
        presenter: view.presenter
    }

    ManualSendButton {
        id: manualSendFloatingButton
        shown: view.presenter.manualSendVisible
        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height - (height + 14) * presence
        onClicked: view.presenter.sendManualStop()
    }
}
