import QtQuick
import Corvane

// The translucent background of everything on the bar. `strength` is its opacity, from 0 to 1.
Rectangle {
    property real strength: 1

    color: Qt.alpha(Theme.material, strength)
    border.width: 1
    border.color: Qt.alpha(Theme.separator, 0.25 * strength)
    radius: 10
}
