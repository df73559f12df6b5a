import QtQuick
import Corvane

// Shows a level from 0 to 1, without a number.
Rectangle {
    id: bar

    property real level
    property string label

    implicitWidth: 120
    implicitHeight: 4
    radius: 2
    color: Qt.alpha(Theme.separator, 0.35)
    Accessible.role: Accessible.Indicator
    Accessible.name: label
    Accessible.description: Math.round(level * 100) + "%"

    Rectangle {
        width: parent.width * Math.min(1, bar.level)
        height: parent.height
        radius: 2
        color: Theme.green
    }
}
