import QtQuick
import QtQuick.Templates as T
import Corvane

// Shows a tooltip for its parent after the pointer has rested there.
Item {
    id: tip

    property string text
    // A control notices when the pointer leaves its window; a hover handler is not told.
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
        onTriggered: toolTip.active = true
    }

    // Passive: a tap handler here would keep the press from the control.
    PointHandler {
        acceptedButtons: Qt.AllButtons
        onActiveChanged: toolTip.active = false
    }

    Loader {
        id: toolTip
        active: false
        sourceComponent: NativeToolTip {
            text: tip.text
            target: tip
        }
    }

    onHoveredChanged: if (!hovered) toolTip.active = false
    onVisibleChanged: if (!visible) toolTip.active = false
}
