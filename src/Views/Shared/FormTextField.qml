import QtQuick
import Corvane
import QtQuick.Templates as T

// A field for one line of text. `label` is its name for assistive technology.
T.TextField {
    id: field

    property string label

    implicitWidth: 200
    implicitHeight: 28
    leftPadding: 8
    rightPadding: 8
    verticalAlignment: Text.AlignVCenter
    selectByMouse: true
    color: Theme.primary
    selectionColor: Theme.accent
    selectedTextColor: Theme.onAccent
    font.pixelSize: 13
    opacity: enabled ? 1 : 0.5
    Accessible.name: label

    background: Rectangle {
        radius: 6
        color: Theme.textField
        border.width: 1
        border.color: Qt.alpha(Theme.separator, 0.45)

        FocusRing {
            shown: field.activeFocus
        }
    }

    FieldPlaceholder {
        control: field
    }
}
