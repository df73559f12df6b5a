import QtQuick
import Corvane

// The background of a card.
Rectangle {
    property color fill: Qt.alpha(Theme.control, 0.4)

    color: fill
    radius: 8
}
