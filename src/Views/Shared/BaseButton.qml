import QtQuick
import QtQuick.Templates as T
import Corvane

// What the buttons do alike: Return and Enter press them as the space bar does, once however long they are held, and so does
// assistive technology, to which their text is their name.
T.AbstractButton {
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: event => {
        if (!event.isAutoRepeat)
            clicked();
    }
    Keys.onEnterPressed: event => {
        if (!event.isAutoRepeat)
            clicked();
    }
}
