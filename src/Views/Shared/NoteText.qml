import QtQuick
import Corvane.Shared

// A line of explanation; takes no room while it is empty.
Text {
    visible: text !== ""
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    color: Theme.secondary
    font.pixelSize: 12
}
