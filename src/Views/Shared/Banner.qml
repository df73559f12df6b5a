import QtQuick
import Corvane

// A notice across the whole width: a symbol, a title, a line of text, and buttons after them.
Rectangle {
    id: banner

    property string symbol
    property color symbolColor: Theme.secondary
    property string title
    property string text
    property color fill: Qt.alpha(Theme.control, 0.5)
    default property alias buttons: buttonRow.data

    implicitHeight: Math.max(words.implicitHeight, buttonRow.implicitHeight) + 20
    color: fill
    Accessible.role: Accessible.AlertMessage
    Accessible.name: title !== "" ? title + ". " + text : text

    Symbol {
        id: icon
        anchors.left: parent.left
        anchors.leftMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        name: banner.symbol
        size: 14
        color: banner.symbolColor
    }

    Column {
        id: words
        anchors.left: icon.right
        anchors.leftMargin: 10
        anchors.right: buttonRow.left
        anchors.rightMargin: 12
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        Text {
            visible: banner.title !== ""
            width: parent.width
            text: banner.title
            textFormat: Text.PlainText
            color: Theme.primary
            font.pixelSize: 13
            font.weight: Font.Medium
            wrapMode: Text.Wrap
        }
        Text {
            width: parent.width
            text: banner.text
            textFormat: Text.PlainText
            color: banner.title !== "" ? Theme.secondary : Theme.primary
            font.pixelSize: 12
            wrapMode: Text.Wrap
        }
    }

    Row {
        id: buttonRow
        anchors.right: parent.right
        anchors.rightMargin: 16
        anchors.verticalCenter: parent.verticalCenter
        spacing: 8
    }
}
