import QtQuick
import Corvane

// Two lines in place of content that is not there yet.
CardSurface {
    id: card

    property alias title: titleText.text
    property alias line: lineText.text

    implicitHeight: words.implicitHeight + 28
    Accessible.role: Accessible.Paragraph
    Accessible.name: title + ". " + line

    Column {
        id: words
        x: 16
        y: 14
        width: card.width - 32
        spacing: 4

        Text {
            id: titleText
            width: parent.width
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.primary
            font.pixelSize: 13
            font.weight: Font.Medium
            Accessible.ignored: true
        }
        Text {
            id: lineText
            width: parent.width
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 12
            Accessible.ignored: true
        }
    }
}
