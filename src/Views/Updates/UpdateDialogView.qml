import QtQuick
import QtQuick.Templates as T
import Corvane

// The content of the update window: what the user is told and asked about an update.
Rectangle {
    id: view

    required property UpdateDialogPresenter presenter

    color: Theme.window
    Accessible.role: Accessible.Dialog
    Accessible.name: presenter.title
    Accessible.description: presenter.text
    Keys.onEscapePressed: presenter.dismiss()

    // Focuses the button that goes on, or the only one.
    function takeKeyboard() {
        (choose.visible ? choose : dismiss).forceActiveFocus(Qt.TabFocusReason);
    }
    Component.onCompleted: takeKeyboard()

    Connections {
        target: view.presenter
        function onStageChanged() {
            view.takeKeyboard();
        }
    }

    Symbol {
        id: picture
        x: 24
        y: 24
        name: "com.corvane.Lumetra"
        size: 40
        color: Theme.accent
    }

    Column {
        id: words
        anchors.left: picture.right
        anchors.leftMargin: 16
        anchors.right: parent.right
        anchors.rightMargin: 24
        y: 24
        spacing: 6

        Text {
            width: parent.width
            text: view.presenter.title
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.primary
            font.pixelSize: 15
            font.weight: Font.DemiBold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        SpokenText {
            width: parent.width
            text: view.presenter.text
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 13
        }
    }

    CardSurface {
        anchors.left: words.left
        anchors.right: words.right
        anchors.top: words.bottom
        anchors.topMargin: 14
        anchors.bottom: buttons.top
        anchors.bottomMargin: 18
        visible: view.presenter.notes !== ""
        fill: Theme.textField

        Flickable {
            id: notes
            anchors.fill: parent
            anchors.margins: 10
            contentHeight: releaseNotes.height
            boundsBehavior: Flickable.StopAtBounds
            clip: true

            MarkdownView {
                id: releaseNotes
                width: notes.width - 10
                content: view.presenter.notes
                font.pixelSize: 13
                Accessible.name: "Release notes"
            }
            T.ScrollBar.vertical: ThinScrollBar {}
        }
    }

    Column {
        anchors.left: words.left
        anchors.right: words.right
        anchors.top: words.bottom
        anchors.topMargin: 16
        visible: view.presenter.downloading
        spacing: 6

        Rectangle {
            width: parent.width
            height: 6
            radius: 3
            color: Qt.alpha(Theme.separator, 0.25)
            Accessible.role: Accessible.ProgressBar
            Accessible.name: "Download, " + view.presenter.progressText

            Rectangle {
                width: parent.width * view.presenter.progress
                height: parent.height
                radius: 3
                color: Theme.accent
            }
        }
        NoteText {
            width: parent.width
            text: view.presenter.progressText
        }
    }

    Row {
        id: buttons
        anchors.right: parent.right
        anchors.rightMargin: 24
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 20
        spacing: 10

        Spinner {
            anchors.verticalCenter: parent.verticalCenter
            visible: view.presenter.busy
            size: 14
            color: Theme.secondary
        }
        SmallButton {
            id: dismiss
            width: Math.max(88, implicitWidth)
            visible: text !== ""
            text: view.presenter.dismissText
            onClicked: view.presenter.dismiss()
        }
        SmallButton {
            id: choose
            width: Math.max(88, implicitWidth)
            visible: text !== ""
            text: view.presenter.chooseText
            prominent: true
            onClicked: view.presenter.choose()
        }
    }
}
