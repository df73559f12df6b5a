import QtQuick
import Corvane

// A black button across the whole width, with a symbol after its text.
BaseButton {
    id: button

    property bool busy: false
    property string symbol
    property real symbolSize: 10

    implicitHeight: label.implicitHeight + 24

    background: Rectangle {
        radius: 10
        color: button.enabled ? Theme.bar : Theme.barDisabled
        border.width: Theme.dark ? 1 : 0
        border.color: Qt.alpha(Theme.separator, 0.4)

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: button.hovered || button.down
            color: Qt.alpha(Theme.onAccent, button.down ? 0.18 : 0.09)
        }

        FocusRing {
            shown: button.visualFocus
            radius: 12
        }
    }

    contentItem: Item {
        Row {
            anchors.centerIn: parent
            spacing: 8

            Spinner {
                visible: button.busy
                size: 14
                color: Theme.onAccent
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                id: label
                text: button.text
                color: Theme.onAccent
                font.pixelSize: 15
                font.weight: Font.DemiBold
            }
            Symbol {
                name: button.symbol
                size: button.symbolSize
                color: Qt.alpha(Theme.onAccent, 0.9)
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }
}
