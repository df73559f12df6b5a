import QtQuick
import Corvane
import QtQuick.Templates as T

// A scroll bar that shows the position and can be dragged. It is hidden when everything is in view.
T.ScrollBar {
    implicitWidth: 10
    padding: 2
    visible: size < 1
    focusPolicy: Qt.NoFocus
    Accessible.ignored: true

    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Qt.alpha(Theme.separator, 0.45)
    }
}
