import QtQuick
import Corvane

// The heading of a page: its title and a line that explains its purpose.
Column {
    id: heading

    property alias title: title.text
    property alias text: line.text

    spacing: 4

    Text {
        id: title
        width: parent.width
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.primary
        font.pixelSize: 22
        font.weight: Font.Bold
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    SpokenText {
        id: line
        width: parent.width
        wrapMode: Text.Wrap
        color: Theme.secondary
        font.pixelSize: 13
    }
}
