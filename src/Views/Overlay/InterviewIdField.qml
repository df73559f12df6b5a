import QtQuick
import Corvane
import QtQuick.Templates as T

T.TextField {
    id: field

    required property CompletionInputPresenter presenter

    text: presenter.interviewId
    placeholderText: "Interview ID"
    leftPadding: 10
    rightPadding: presenter.showError ? 28 : 10
    verticalAlignment: TextInput.AlignVCenter
    color: Theme.primary
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    font.pixelSize: 13
    activeFocusOnTab: true
    Accessible.name: placeholderText
    Accessible.description: presenter.tip
    onTextEdited: presenter.interviewId = text
    onAccepted: presenter.submit()
    onActiveFocusChanged: presenter.isFocused = activeFocus

    background: Rectangle {
        radius: 6
        color: Qt.alpha(Theme.textField, 0.6)
        border.width: 1
        border.color: field.presenter.showError ? Qt.alpha(Theme.red, 0.3) : Qt.alpha(Theme.separator, 0.15)

        FocusRing {
            shown: field.activeFocus
            anchors.margins: 0
            radius: 6
        }
    }

    FieldPlaceholder {
        control: field
    }

    Symbol {
        anchors.right: parent.right
        anchors.rightMargin: 9
        anchors.verticalCenter: parent.verticalCenter
        visible: field.presenter.showError
        name: "exclamationmark.circle.fill"
        size: 12
        color: Qt.alpha(Theme.red, 0.6)
    }

    NativeToolTipView {
        text: field.presenter.tip
    }

    Connections {
        target: field.presenter

        function onFocusRequested() {
            field.forceActiveFocus(Qt.ShortcutFocusReason);
        }
    }
}
