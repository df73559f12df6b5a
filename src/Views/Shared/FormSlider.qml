import QtQuick
import Corvane
import QtQuick.Templates as T

// A slider with steps, which the arrow keys move, too.
T.Slider {
    id: slider

    property string label

    implicitWidth: 200
    implicitHeight: 20
    snapMode: T.Slider.SnapAlways
    focusPolicy: Qt.StrongFocus
    opacity: enabled ? 1 : 0.5
    Accessible.name: label
    Accessible.onIncreaseAction: {
        increase();
        moved();
    }
    Accessible.onDecreaseAction: {
        decrease();
        moved();
    }

    background: Rectangle {
        y: (slider.height - height) / 2
        width: slider.width
        height: 4
        radius: 2
        color: Qt.alpha(Theme.separator, 0.35)

        Rectangle {
            width: slider.handle.x + slider.handle.width / 2
            height: parent.height
            radius: 2
            color: Theme.accent
        }
    }

    handle: Rectangle {
        x: slider.visualPosition * (slider.width - width)
        y: (slider.height - height) / 2
        width: 18
        height: 18
        radius: 9
        color: Qt.darker(Theme.onAccent, slider.pressed ? 1.08 : 1)
        border.width: 1
        border.color: Qt.alpha(Theme.separator, 0.6)

        FocusRing {
            shown: slider.visualFocus
            radius: 11
        }
    }
}
