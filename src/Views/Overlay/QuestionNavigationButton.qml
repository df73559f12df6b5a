import QtQuick
import Corvane

BaseButton {
    id: button

    property string symbol

    implicitWidth: 28
    implicitHeight: 28
    opacity: enabled ? 1 : 0.3

    background: Rectangle {
        radius: 6
        color: Qt.alpha(Theme.control, 0.5)

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: button.down || button.hovered
            color: Qt.alpha(Theme.primary, button.down ? 0.14 : 0.07)
        }
        FocusRing {
            shown: button.visualFocus
        }
    }

    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            name: button.symbol
            size: 12
            color: Theme.primary
        }
    }
}
