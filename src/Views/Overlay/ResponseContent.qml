import QtQuick
import Corvane

// The assistant's text, or the reason why there is none yet.
FollowingListView {
    objectName: "assistantList"
    id: view

    required property ResponsePopoverPresenter presenter
    readonly property real innerWidth: width - 32

    Connections {
        target: view.presenter
        function onScrollToBottomRequested() {
            view.scrollToBottom();
        }
    }

    model: presenter.content === "assistant" ? presenter.cards : null
    spacing: 12

    header: Column {
        width: view.width
        spacing: 12
        leftPadding: 16
        topPadding: 14
        bottomPadding: view.count > 0 && (error.visible || first.visible) ? view.spacing : 0

        Loader {
            id: error
            active: view.presenter.hasError
            visible: active
            width: view.innerWidth
            sourceComponent: Column {
                spacing: 8

                AssistantSectionCard {
                    width: view.innerWidth
                    title: "Error"
                    symbol: "exclamationmark.triangle.fill"
                    tone: "orange"
                    content: view.presenter.errorText
                    onLinkActivated: link => view.presenter.openLink(link)
                }
                SmallButton {
                    visible: view.presenter.canGiveUp
                    x: view.innerWidth - width
                    text: "Give Up"
                    tip: "End this start and keep the interview ID"
                    onClicked: view.presenter.giveUp()
                }
            }
        }

        Loader {
            id: first
            readonly property Component planQuestions: view.presenter.planQuestions !== "" ? planFollowUpsSection : noQuestions
            visible: sourceComponent !== null
            width: view.innerWidth
            sourceComponent: ({ "planQuestions": planQuestions, "working": workingState,
                                "empty": emptyState })[view.presenter.content] ?? null
        }
    }

    delegate: FocusScope {
        id: row

        required property int index
        required property string title
        required property string symbol
        required property string tone
        required property CardText stream
        required property bool startsCard
        required property bool isAssessment

        width: view.width
        height: card.implicitHeight
        opacity: isAssessment ? view.presenter.assessmentOpacity : 1
        Behavior on opacity {
            NumberAnimation {
                duration: 200
                easing.type: Easing.InOutQuad
            }
        }

        AssistantSectionCard {
            id: card
            x: 16
            width: view.innerWidth
            title: row.title
            symbol: row.symbol
            tone: row.tone
            stream: row.stream
            headed: row.startsCard
            textFocus: true
            tabStop: row.index === view.tabRow
            onTextFocusedChanged: view.noteFocus(row, row.index, textFocused)
            onLinkActivated: link => view.presenter.openLink(link)
            onTabPressed: (direction, event) => event.accepted =
                view.focusRow(row.index + direction, direction > 0 ? Qt.TabFocusReason : Qt.BacktabFocusReason)
        }
    }

    footer: Column {
        width: view.width
        spacing: 12
        leftPadding: 16
        topPadding: 12
        bottomPadding: 16

        Row {
            id: streamingIndicator
            visible: opacity > 0
            opacity: view.presenter.content === "assistant" && view.presenter.updating ? 1 : 0
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

        Item {
            objectName: "bottom"
            width: view.innerWidth
            height: 1
        }
    }

    Component {
        id: planFollowUpsSection
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
        id: workingState
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
        id: emptyState
        HintCard {
            title: view.presenter.emptyTitle
            line: view.presenter.emptyLine
        }
    }
}
