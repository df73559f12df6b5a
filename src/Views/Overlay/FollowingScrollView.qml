import QtQuick
import QtQuick.Templates as T
import Corvane.Overlay
import Corvane.Shared

// A column that scrolls, and follows its end when it is asked to.
Flickable {
    id: view

    default property alias content: column.data
    readonly property real bottomY: Math.max(0, contentHeight - height)
    // The user has the text in hand: it does not move under a selection, a drag or the scroll bar.
    readonly property bool held: dragging || pointer.active || bar.pressed
    readonly property Item focusItem: Window.activeFocusItem

    function scrollToBottom() {
        if (held)
            return;
        // The text may get its height only when the frame is laid out.
        follow.restart();
        contentY = bottomY;
    }
    function scrollBy(distance: real) {
        follow.stop();
        contentY = Math.max(0, Math.min(bottomY, contentY + distance));
    }
    function reveal(item: Item) {
        let ancestor = item;
        while (ancestor && ancestor !== column)
            ancestor = ancestor.parent;
        if (!ancestor || pointer.active)
            return;
        const top = item.mapToItem(column, 0, 0).y;
        if (top < contentY || top > contentY + height - 20)
            scrollBy(top - 40 - contentY);
    }

    contentWidth: width
    contentHeight: column.height
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    onMovementStarted: follow.stop()
    onBottomYChanged: if (follow.running) contentY = bottomY
    onFocusItemChanged: reveal(focusItem)
    Keys.onPressed: event => {
        const pages = event.key === Qt.Key_PageDown ? 1 : event.key === Qt.Key_PageUp ? -1 : 0;
        event.accepted = pages !== 0;
        scrollBy(pages * (height - 40));
    }
    Behavior on contentY {
        enabled: follow.running
        SmoothedAnimation {
            velocity: -1
            duration: 250
        }
    }

    Timer {
        id: follow
        interval: 400
    }

    PointHandler {
        id: pointer
    }

    Column {
        id: column
        width: view.width
        spacing: 12
        leftPadding: 16
        rightPadding: 16
        topPadding: 14
        bottomPadding: 16
    }

    T.ScrollBar.vertical: T.ScrollBar {
        id: bar
        parent: view
        anchors.right: view.right
        height: view.height
        width: 10
        padding: 2
        visible: size < 1
        focusPolicy: Qt.NoFocus

        contentItem: Rectangle {
            radius: 3
            color: Qt.alpha(Theme.separator, 0.45)
        }
    }
}
