import QtQuick
import Corvane
import QtQuick.Templates as T

// A text field of the sign-in card.
T.TextField {
    id: field

    property string label
    // While this is true, the field takes no input. Afterwards it has the keyboard again.
    property bool busy: false

    leftPadding: 14
    rightPadding: 14
    implicitHeight: contentHeight + topPadding + bottomPadding
    color: Theme.primary
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    selectByMouse: true
    readOnly: busy
    onBusyChanged: if (!busy && visible)
        forceActiveFocus()
    inputMethodHints: Qt.ImhNoPredictiveText | Qt.ImhNoAutoUppercase
    Accessible.name: label
    // A Return key that is held down submits only once.
    Keys.onPressed: event => event.accepted = event.isAutoRepeat && (event.key === Qt.Key_Return || event.key === Qt.Key_Enter)

    background: Rectangle {
        radius: 10
        color: Theme.textField
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Qt.alpha(Theme.accent, 0.6) : Qt.alpha(Theme.secondary, 0.25)

        // The border alone is too faint to show the focus.
        FocusRing {
            shown: field.activeFocus
            anchors.margins: -1
            border.width: 1
            radius: 11
        }
    }

    FieldPlaceholder {
        control: field
    }
}
