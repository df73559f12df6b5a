import QtQuick
import QtQuick.Templates as T
import Corvane

// The text that an empty field shows.
Text {
    required property T.TextField control

    x: control.leftPadding
    width: control.width - control.leftPadding - control.rightPadding
    height: control.height
    visible: control.length === 0 && control.preeditText === ""
    text: control.placeholderText
    textFormat: Text.PlainText
    verticalAlignment: Text.AlignVCenter
    elide: Text.ElideRight
    color: Theme.tertiary
    font: control.font
    Accessible.ignored: true
}
