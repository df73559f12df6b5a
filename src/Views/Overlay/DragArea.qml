import QtQuick

// Lies under the controls of the bar: a drag that none of them takes moves the window.
MouseArea {
    id: area

    property bool isMoving: false

    // Not emitted on the press: a desktop that starts a move after a quick click would not end it.
    signal moveRequested

    onPressed: isMoving = false
    onPositionChanged: {
        if (!isMoving) {
            isMoving = true;
            moveRequested();
        }
    }
}
