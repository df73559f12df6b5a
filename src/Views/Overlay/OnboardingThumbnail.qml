import QtQuick
import Corvane

// The thumbnail of the video: the bar over a conversation.
Rectangle {
    implicitWidth: 64
    implicitHeight: 64
    radius: 8
    gradient: Gradient {
        GradientStop { position: 0; color: Qt.lighter(Theme.accent, 1.5) }
        GradientStop { position: 1; color: Theme.accent }
    }

    Rectangle {
        x: 8
        y: 8
        width: 48
        height: 9
        radius: 3
        color: Qt.alpha(Theme.onAccent, 0.9)
    }
    Repeater {
        model: [{ x: 8, y: 23, w: 30 }, { x: 24, y: 36, w: 32 }, { x: 8, y: 49, w: 22 }]

        Rectangle {
            required property var modelData

            x: modelData.x
            y: modelData.y
            width: modelData.w
            height: 8
            radius: 4
            color: Qt.alpha(Theme.onAccent, 0.45)
        }
    }

    Rectangle {
        anchors.centerIn: parent
        width: 40
        height: 40
        radius: 20
        color: Qt.alpha(Theme.shadow, 0.55)

        Symbol {
            anchors.centerIn: parent
            anchors.horizontalCenterOffset: 1
            width: 28
            height: 28
            name: "play.fill"
            color: Theme.onAccent
        }
    }
}
