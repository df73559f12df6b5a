import QtQuick
import Corvane
import QtQuick.Window

// The tooltip's own window: the bar is too low for one inside. It takes no clicks and no keyboard.
Window {
    id: bubble

    required property string text
    required property Item target

    readonly property int margin: 6
    readonly property point place: target.mapToGlobal(0, target.height + margin)
    // Of the control's screen: a new window's own is the first one.
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
        text: bubble.text
        textFormat: Text.PlainText
        wrapMode: Text.Wrap
        color: Theme.primary
        font.pixelSize: 12
    }
}
