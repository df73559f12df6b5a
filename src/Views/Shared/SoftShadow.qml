import QtQuick
import Corvane

// A soft shadow under a rounded rectangle, drawn as rings. `strength` is its opacity and `blur` its width.
Item {
    id: shadow

    property real strength: 0.3
    property int blur: 8
    property real radius: 8

    Repeater {
        model: shadow.blur

        Rectangle {
            required property int index

            anchors.fill: parent
            anchors.margins: index - shadow.blur
            radius: shadow.radius + shadow.blur - index
            color: "transparent"
            border.width: 1
            border.color: Qt.alpha(Theme.shadow, shadow.strength * Math.pow((index + 1) / shadow.blur, 2) * 0.5)
        }
    }
}
