import QtQuick
import Corvane

// The heading of a section.
Text {
    textFormat: Text.PlainText
    color: Theme.primary
    font.pixelSize: 13
    font.weight: Font.DemiBold
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
