import QtQuick
import Corvane
import QtQuick.Templates as T

// A page of the dashboard: a column that scrolls when it does not fit, and that keeps the item with the focus
// visible.
Flickable {
    id: page
    objectName: "page"

    default property alias content: column.data
    property alias spacing: column.spacing
    readonly property bool shown: visible && Window.window !== null && Window.window.visible
    readonly property Item focusItem: Window.activeFocusItem

    // The page has become visible, with its window or within it.
    signal appeared
    signal scrolled(position: real)

    property real start: 0

    // Scrolls to the position as soon as the content is high enough.
    function startAt(position: real) {
        start = position;
    }
    function reachStart() {
        if (start > 0 && contentHeight - height >= start) {
            contentY = start;
            start = 0;
        }
    }

    contentHeight: column.implicitHeight + 2 * column.y
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    onShownChanged: if (shown) appeared()
    onFocusItemChanged: reveal(focusItem)
    onHeightChanged: {
        reveal(focusItem);
        reachStart();
    }
    onContentHeightChanged: settling.restart()
    onStartChanged: settling.restart()
    onContentYChanged: scrolled(contentY)

    function reveal(item) {
        let ancestor = item;
        while (ancestor && ancestor !== column) {
            ancestor = ancestor.parent;
        }
        if (!ancestor) {
            return;
        }
        const top = item.mapToItem(contentItem, 0, 0).y - column.y;
        const bottom = top + item.height + 2 * column.y;
        if (top < contentY) {
            contentY = Math.max(0, top);
        } else if (bottom > contentY + height) {
            contentY = Math.min(bottom, contentHeight) - height;
        }
    }

    // Waits until the layout has followed the change.
    Timer {
        id: settling
        interval: 0
        onTriggered: page.reachStart()
    }

    Column {
        id: column
        x: 24
        y: 24
        width: Math.min(page.width - 2 * x, 560)
        spacing: 24
    }

    T.ScrollBar.vertical: ThinScrollBar {}
}
