import QtQuick
import QtQuick.Templates as T
import Corvane

// The common behaviour of buttons: Return and Enter press them as the space bar does, only once even when the key is
// held down. Assistive technology can press them, too, and reads their text as their name.
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
