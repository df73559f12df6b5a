import QtQuick
import Corvane

// A small button with a border and an optional symbol or spinner before its text.
BaseButton {
    id: button

    property string symbol
    property bool busy: false
    property bool prominent: false
    property color tint: Theme.accent
    property string tip
    readonly property color ink: prominent ? Theme.onAccent : Theme.primary

    implicitWidth: content.implicitWidth + 20
    implicitHeight: 26
    opacity: enabled ? 1 : 0.5
    Accessible.description: tip

    background: Rectangle {
        radius: 6
        color: button.prominent ? button.tint : Qt.alpha(Theme.control, 0.9)
        border.width: button.prominent ? 0 : 1
        border.color: Qt.alpha(Theme.separator, 0.35)

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: button.down || button.hovered
            color: Qt.alpha(button.prominent ? Theme.onAccent : Theme.primary, button.down ? 0.16 : 0.07)
        }

        FocusRing {
            shown: button.visualFocus
        }
    }

    contentItem: Item {
        Row {
            id: content
            anchors.centerIn: parent
            spacing: 5

            Spinner {
                visible: button.busy
                size: 11
                color: button.ink
                anchors.verticalCenter: parent.verticalCenter
            }
            Symbol {
                visible: button.symbol !== "" && !button.busy
                name: button.symbol
                size: 11
                color: button.ink
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                text: button.text
                textFormat: Text.PlainText
                color: button.ink
                font.pixelSize: 12
                font.weight: Font.DemiBold
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }

    NativeToolTipView {
        text: button.tip
    }
}
