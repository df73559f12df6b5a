import QtQuick
import Corvane.Auth
import QtQuick.Templates as T
import Corvane.Shared

// A quiet button that is only its text.
T.AbstractButton {
    id: button

    implicitWidth: label.implicitWidth + 12
    implicitHeight: label.implicitHeight + 8
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()

    background: FocusRing {
        shown: button.visualFocus
        radius: 6
    }
    contentItem: Text {
        id: label
        text: button.text
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        color: button.hovered ? Theme.primary : Theme.secondary
        font.pixelSize: 13
    }
}
