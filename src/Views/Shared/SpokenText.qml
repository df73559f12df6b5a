import QtQuick
import Corvane

// A text that assistive technology reads although the keyboard does not stop at it.
Text {
    textFormat: Text.PlainText
    // With the role of a static text it would count as focusable.
    Accessible.role: Accessible.Paragraph
    Accessible.name: text
}
