import QtQuick
import Corvane

// The background of a card.
Rectangle {
    property color fill: Qt.alpha(Theme.control, 0.4)
    // For a card whose fill alone does not stand out.
    property color edge: "transparent"

    color: fill
    border.width: 1
    border.color: edge
    radius: 8
}
