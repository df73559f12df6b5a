import QtQuick
import Corvane

// Shows the keyboard focus. It fills its parent, the control.
Rectangle {
    property bool shown: false

    visible: shown
    anchors.fill: parent
    anchors.margins: -2
    color: "transparent"
    border.width: 2
    border.color: Theme.focus
    radius: 8
}
