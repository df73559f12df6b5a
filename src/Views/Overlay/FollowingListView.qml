import QtQuick
import QtQuick.Templates as T
import Corvane

// A list that scrolls to its end on request. Rows that are far out of sight cost nothing.
ListView {
    id: view

    readonly property real topY: originY
    readonly property real bottomY: Math.max(topY, topY + contentHeight - height)
    // True while the user is working with the text: it does not move during a selection, a drag or the use of the
    // scroll bar.
    readonly property bool held: dragging || pointer.active || bar.pressed
    readonly property Item focusItem: Window.activeFocusItem
    // Rows are created when they are scrolled to, and Qt's own order of focus is the order of their creation. So the
    // Tab key stops at one row, and moves from there row by row. Each row is a focus scope and reports its focus with
    // noteFocus().
    property int tabRow: 0
    property Item focusedRow: null

    function scrollToBottom() {
        if (held)
            return;
        // The text may get its height only when the frame is laid out.
        follow.restart();
        contentY = bottomY;
    }
    function scrollBy(distance: real) {
        follow.stop();
        contentY = Math.max(topY, Math.min(bottomY, contentY + distance));
    }
    function focusRow(row: int, reason: int): bool {
        if (row < 0 || row >= count)
            return false;
        if (!itemAtIndex(row))
            positionViewAtIndex(row, ListView.Contain);
        itemAtIndex(row).forceActiveFocus(reason); // which makes it the row where Tab stops
        return true;
    }
    function noteFocus(row: Item, index: int, focused: bool) {
        if (focused) {
            focusedRow = row;
            tabRow = index;
        } else if (focusedRow === row) {
            focusedRow = null;
        }
    }
    // The Tab key leads to a row that is visible.
    function chooseTabRow() {
        if (focusedRow)
            return;
        const seen = indexAt(width / 2, contentY + height / 3);
        if (seen >= 0)
            tabRow = seen;
        else if (tabRow >= count)
            tabRow = 0;
    }
    function reveal(item: Item) {
        let ancestor = item;
        while (ancestor && ancestor !== contentItem)
            ancestor = ancestor.parent;
        if (!ancestor || pointer.active)
            return;
        const top = item.mapToItem(contentItem, 0, 0).y;
        if (top < contentY || top > contentY + height - 20)
            scrollBy(top - 40 - contentY);
    }

    // Rows within this distance are kept, so that an assessment of usual length exists as a whole.
    cacheBuffer: 3000
    // There is no current row.
    currentIndex: -1
    highlightFollowsCurrentItem: false
    keyNavigationEnabled: false
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    onMovementStarted: follow.stop()
    onContentYChanged: chooseTabRow()
    onCountChanged: chooseTabRow()
    onBottomYChanged: {
        // The height of rows that are far away is only estimated. The estimate improves as the list gets there.
        if (follow.running) {
            follow.restart();
            contentY = bottomY;
        }
    }
    onFocusItemChanged: reveal(focusItem)
    Keys.onPressed: event => {
        const pages = event.key === Qt.Key_PageDown ? 1 : event.key === Qt.Key_PageUp ? -1 : 0;
        event.accepted = pages !== 0;
        if (event.accepted)
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

    T.ScrollBar.vertical: T.ScrollBar {
        id: bar
        parent: view
        anchors.right: view.right
        height: view.height
        width: 10
        padding: 2
        minimumSize: 0.06
        visible: size < 1
        focusPolicy: Qt.NoFocus

        contentItem: Rectangle {
            radius: 3
            color: Qt.alpha(Theme.separator, 0.45)
        }
    }
}
