import QtQuick
import Corvane

// A line of explanation, which takes no space while it is empty.
SpokenText {
    visible: text !== ""
    wrapMode: Text.Wrap
    color: Theme.secondary
    font.pixelSize: 12
}
