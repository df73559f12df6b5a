import QtQuick
import Corvane

// The pace of every change on the bar.
NumberAnimation {
    duration: 150
    easing.type: Easing.InOutQuad
}
