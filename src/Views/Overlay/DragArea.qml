import QtQuick
import QtQuick.Window

// Lies under the bar's controls: what none of them takes moves the window.
MouseArea {
    id: area

    property point hold
    property bool isMoving: false
    // The window manager does it where it can.
    property bool movesItself: false

    onPressed: mouse => {
        hold = Qt.point(mouse.x, mouse.y);
        isMoving = false;
        movesItself = false;
    }
    onPositionChanged: mouse => {
        // Not on the press: a window manager that hears of it after a quick click would not let go again.
        if (!isMoving) {
            isMoving = true;
            movesItself = !area.Window.window.startSystemMove();
        }
        if (movesItself) {
            area.Window.window.x += mouse.x - hold.x;
            area.Window.window.y += mouse.y - hold.y;
        }
    }
}
