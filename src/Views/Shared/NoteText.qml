import QtQuick
import Corvane.Shared

// A line of explanation; takes no room while it is empty.
SpokenText {
    visible: text !== ""
    wrapMode: Text.Wrap
    color: Theme.secondary
    font.pixelSize: 12
}
