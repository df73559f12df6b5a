import QtQuick
import Corvane

// A button that shows only a symbol. The tip is its name, too.
BaseButton {
    id: button

    property string symbol
    property real symbolSize: 12
    property color tint: Theme.secondary
    property string tip

    implicitWidth: 26
    implicitHeight: 26
    Accessible.name: text !== "" ? text : tip

    background: Rectangle {
        radius: 6
        color: Qt.alpha(Theme.primary, button.down ? 0.14 : button.hovered ? 0.07 : 0)

        FocusRing {
            shown: button.visualFocus
            anchors.margins: 0
            radius: 6
        }
    }

    contentItem: Item {
        Symbol {
            anchors.centerIn: parent
            name: button.symbol
            size: button.symbolSize
            color: button.tint
        }
    }

    NativeToolTipView {
        text: button.tip
    }
}
