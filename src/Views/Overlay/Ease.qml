import QtQuick
import Corvane

// The animation of every change on the bar.
NumberAnimation {
    duration: 150
    easing.type: Easing.InOutQuad
}
