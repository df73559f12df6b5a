import QtQuick
import Corvane

// The translucent surface that everything of the bar is drawn on. `strength` from 0 to 1.
Rectangle {
    property real strength: 1

    color: Qt.alpha(Theme.material, strength)
    border.width: 1
    border.color: Qt.alpha(Theme.separator, 0.25 * strength)
    radius: 10
}
