import QtQuick
import Corvane.Shared

// A tooltip for the item it stands in: shown beside the pointer's control after it has rested there.
Item {
    id: tip

    property string text

    anchors.fill: parent

    HoverHandler {
        id: hover
        enabled: tip.text !== ""
    }

    Timer {
        id: rest
        interval: 700
        running: hover.hovered && tip.visible
        onRunningChanged: if (!hover.hovered) bubble.active = false
        onTriggered: bubble.active = true
    }

    // Only looks on: a tap handler here would keep the press from the control.
    PointHandler {
        acceptedButtons: Qt.AllButtons
        onActiveChanged: bubble.active = false
    }

    Loader {
        id: bubble
        active: false
        sourceComponent: TipWindow {
            text: tip.text
            target: tip
        }
    }

    onVisibleChanged: if (!visible) bubble.active = false
}
