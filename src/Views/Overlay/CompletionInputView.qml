import QtQuick
import Corvane

// Shows the id field before an interview, and the state of the interview during one.
Item {
    id: view

    required property CompletionInputPresenter presenter

    implicitHeight: 30

    InterviewIdField {
        anchors.fill: parent
        visible: view.presenter.showsField
        enabled: visible
        presenter: view.presenter
    }

    Item {
        id: activeInterviewContext
        anchors.fill: parent
        visible: !view.presenter.showsField
        Accessible.role: Accessible.Paragraph
        Accessible.name: view.presenter.contextText

        Item {
            id: mark
            anchors.verticalCenter: parent.verticalCenter
            width: view.presenter.isProcessing ? 14 : 6
            height: 14
            Behavior on width { Ease { duration: 200 } }

            Spinner {
                anchors.centerIn: parent
                size: 14
                color: Theme.secondary
                opacity: view.presenter.isProcessing ? 1 : 0
                visible: opacity > 0
                Behavior on opacity { Ease { duration: 200 } }
            }
            Rectangle {
                anchors.centerIn: parent
                width: 6
                height: 6
                radius: 3
                color: Theme[view.presenter.statusDotColor]
                opacity: view.presenter.isProcessing ? 0 : 1
                Behavior on opacity { Ease { duration: 200 } }
            }
        }

        Text {
            id: words
            anchors.left: mark.right
            anchors.leftMargin: 6
            anchors.right: parent.right
            anchors.verticalCenter: parent.verticalCenter
            text: view.presenter.contextText
            textFormat: Text.PlainText
            elide: Text.ElideRight
            color: Theme.primary
            font.pixelSize: 11
            fontSizeMode: Text.HorizontalFit
            minimumPixelSize: 10
            font.weight: Font.Medium
        }

        NativeToolTipView {
            text: words.truncated ? view.presenter.contextText : ""
        }
    }
}
