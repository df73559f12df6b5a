import QtQuick
import QtQuick.Templates as T
import Corvane

// A tooltip for the item it stands in: shown beside the pointer's control after it has rested there.
Item {
    id: tip

    property string text
    // A control knows when the pointer leaves its window; a handler is not told.
    readonly property bool hovered: parent instanceof T.Control ? parent.hovered : hover.hovered

    anchors.fill: parent

    HoverHandler {
        id: hover
        enabled: !(tip.parent instanceof T.Control)
    }

    Timer {
        id: rest
        interval: 700
        running: tip.hovered && tip.visible && tip.text !== ""
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

    onHoveredChanged: if (!hovered) bubble.active = false
    onVisibleChanged: if (!visible) bubble.active = false
}
