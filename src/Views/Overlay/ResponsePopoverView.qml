import QtQuick
import Corvane

// The card under the bar: banners, the plan or the question to ask next, and the running assessment.
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
            readonly property Component microphoneFallback: Banner {
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
            readonly property Component audioWarning: Banner {
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
            sourceComponent: view.presenter.microphoneFallback ? microphoneFallback
                           : view.presenter.audioWarning !== "" ? audioWarning : null
        }

        Item {
            width: parent.width
            height: info.sourceComponent ? info.height + 20 : 0

            Loader {
                id: info

                readonly property Component plan: InterviewPlanCard {
                    presenter: view.presenter
                }
                readonly property Component questions: InterviewQuestionsCard {
                    presenter: view.presenter
                }
                readonly property Component gathering: HintCard {
                    title: "Gathering transcript"
                    line: "Switch to Assessment to get follow-up questions."
                }

                x: 16
                y: 14
                width: parent.width - 32
                sourceComponent: ({ "plan": plan, "questions": questions,
                                    "gathering": gathering })[view.presenter.infoSection] ?? null
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
        shown: view.presenter.manualSendVisible
        anchors.horizontalCenter: parent.horizontalCenter
        y: parent.height - (height + 14) * presence
        onClicked: view.presenter.sendManualStop()
    }
}
