import QtQuick
import Corvane
import QtQuick.Templates as T

// A text field of the sign-in card.
T.TextField {
    id: field

    property string label

    leftPadding: 14
    rightPadding: 14
    implicitHeight: contentHeight + topPadding + bottomPadding
    color: Theme.primary
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    selectByMouse: true
    inputMethodHints: Qt.ImhNoPredictiveText | Qt.ImhNoAutoUppercase
    Accessible.name: label

    background: Rectangle {
        radius: 10
        color: Theme.textField
        border.width: field.activeFocus ? 2 : 1
        border.color: field.activeFocus ? Qt.alpha(Theme.accent, 0.6) : Qt.alpha(Theme.secondary, 0.25)

        // The border alone is too faint to tell.
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
