import QtQuick
import Corvane

// A short label on a small rounded background.
Rectangle {
    id: chip

    property alias text: label.text

    implicitWidth: label.implicitWidth + 14
    implicitHeight: label.implicitHeight + 6
    radius: 5
    color: Qt.alpha(Theme.separator, 0.2)

    SpokenText {
        id: label
        anchors.centerIn: parent
        width: Math.min(implicitWidth, chip.width - 14)
        elide: Text.ElideRight
        color: Theme.secondary
        font.pixelSize: 11
        font.weight: Font.Medium
    }
}
