import QtQuick
import Corvane

// A text that assistive technology reads too, without a stop of the keyboard at it.
Text {
    textFormat: Text.PlainText
    // A static text would count as focusable.
    Accessible.role: Accessible.Paragraph
    Accessible.name: text
}
