import QtQuick
import Corvane.Overlay
import Corvane.Shared

// What the assistant has to say, or why it says nothing yet.
FollowingScrollView {
    id: view

    required property ResponsePopoverPresenter presenter
    readonly property real innerWidth: width - 32

    Connections {
        target: view.presenter
        function onScrollToBottomRequested() {
            view.scrollToBottom();
        }
    }

    Loader {
        active: view.presenter.hasError
        visible: active
        width: view.innerWidth
        sourceComponent: AssistantSectionCard {
            width: view.innerWidth
            title: "Error"
            symbol: "exclamationmark.triangle.fill"
            tone: "orange"
            content: view.presenter.errorText
            onLinkActivated: link => view.presenter.openLink(link)
        }
    }

    Loader {
        width: view.innerWidth
        readonly property Component planQuestions: view.presenter.planQuestions !== "" ? questions : noQuestions
        sourceComponent: ({ "planQuestions": planQuestions, "working": working, "empty": empty,
                            "assistant": assistant })[view.presenter.content]
    }

    Item {
        objectName: "bottom"
        width: view.innerWidth
        height: 1
    }

    Component {
        id: questions
        AssistantSectionCard {
            width: view.innerWidth
            title: "Questions"
            symbol: "text.bubble"
            content: view.presenter.planQuestions
            onLinkActivated: link => view.presenter.openLink(link)
        }
    }

    Component {
        id: noQuestions
        SpokenText {
            text: "No questions for this topic."
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 13
        }
    }

    Component {
        id: working
        Item {
            implicitHeight: row.implicitHeight + 28

            Row {
                id: row
                x: 14
                y: 14
                spacing: 10

                Spinner {
                    size: 14
                    anchors.verticalCenter: parent.verticalCenter
                }
                SpokenText {
                    text: view.presenter.workingText
                    color: Theme.secondary
                    font.pixelSize: 13
                    anchors.verticalCenter: parent.verticalCenter
                }
            }
        }
    }

    Component {
        id: empty
        HintCard {
            title: view.presenter.emptyTitle
            line: view.presenter.emptyLine
        }
    }

    Component {
        id: assistant
        AssistantContent {
            width: view.innerWidth
            presenter: view.presenter
        }
    }
}
