import QtQuick
import Corvane
import QtQuick.Window

// The window of a tooltip, which is needed because the bar is too low to show one inside. It takes no clicks and no
// keyboard.
Window {
    id: toolTip

    required property string text
    required property Item target

    readonly property int margin: 6
    readonly property point place: target.mapToGlobal(0, target.height + margin)
    // Taken from the control's screen: a new window is on the first screen until it is moved.
    readonly property int left: target.Screen.virtualX

    flags: Qt.ToolTip | Qt.FramelessWindowHint | Qt.WindowTransparentForInput | Qt.WindowDoesNotAcceptFocus
           | Qt.BypassWindowManagerHint
    color: "transparent"
    width: label.width + 16
    height: label.height + 10
    x: Math.max(left, Math.min(place.x, left + target.Screen.width - width))
    y: place.y + height > target.Screen.virtualY + target.Screen.height ? target.mapToGlobal(0, 0).y - height - margin
                                                                       : place.y
    visible: true

    Rectangle {
        anchors.fill: parent
        radius: 5
        color: Theme.window
        border.width: 1
        border.color: Qt.alpha(Theme.separator, 0.4)
    }

    Text {
        id: label
        x: 8
        y: 5
        width: Math.min(implicitWidth, 320)
        text: toolTip.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.primary
        font.pixelSize: 12
    }
}
