import QtQuick
import Corvane

// A button that shows only its text.
BaseButton {
    id: button

    implicitWidth: label.implicitWidth + 12
    implicitHeight: label.implicitHeight + 8

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
