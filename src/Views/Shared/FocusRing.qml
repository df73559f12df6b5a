import QtQuick
import Corvane

// Shows where the keyboard is. Fill the control with it.
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
