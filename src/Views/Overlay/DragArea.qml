import QtQuick

// Lies under the bar's controls: what none of them takes moves the window.
MouseArea {
    id: area

    property bool isMoving: false

    // Not on the press: a desktop that hears of it after a quick click would not let go again.
    signal moveWanted

    onPressed: isMoving = false
    onPositionChanged: {
        if (!isMoving) {
            isMoving = true;
            moveWanted();
        }
    }
}
