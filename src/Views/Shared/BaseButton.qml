import QtQuick
import QtQuick.Templates as T
import Corvane

// What the buttons do alike: Return and Enter press them as the space bar does, and so does assistive technology, to which
// their text is their name.
T.AbstractButton {
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
}
