import QtQuick
import Corvane
import QtQuick.Templates as T

// A row of the sidebar, with a symbol and a title.
T.ItemDelegate {
    id: row

    property string symbol

    height: 32
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.ListItem
    Accessible.name: text
    Accessible.selected: highlighted
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: 6
        color: row.highlighted ? Theme.accent : Qt.alpha(Theme.primary, row.hovered ? 0.07 : 0)

        FocusRing {
            shown: row.visualFocus
        }
    }

    contentItem: Item {
        Symbol {
            id: picture
            x: 10
            anchors.verticalCenter: parent.verticalCenter
            name: row.symbol
            size: 13
            color: row.highlighted ? Theme.onAccent : Theme.blue
        }
        Text {
            anchors.left: picture.right
            anchors.leftMargin: 9
            anchors.verticalCenter: parent.verticalCenter
            text: row.text
            color: row.highlighted ? Theme.onAccent : Theme.primary
            font.pixelSize: 13
        }
    }
}
