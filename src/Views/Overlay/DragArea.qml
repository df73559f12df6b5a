import QtQuick
import QtQuick.Window

// Lies under the bar's controls: what none of them takes moves the window.
MouseArea {
    id: area

    property point hold
    // The window manager does it where it can.
    property bool movesItself: false

    onPressed: mouse => {
        hold = Qt.point(mouse.x, mouse.y);
        movesItself = !area.Window.window.startSystemMove();
    }
    onPositionChanged: mouse => {
        if (movesItself) {
            area.Window.window.x += mouse.x - hold.x;
            area.Window.window.y += mouse.y - hold.y;
        }
    }
}
