import QtQuick
import Corvane
import QtQuick.Templates as T

// Shows the keys of a shortcut. A click or a key press on it asks for other keys with recordingRequested().
T.AbstractButton {
    id: chip

    property string shortcut
    property bool recording: false

    signal recordingRequested
    signal recordingCancelled

    implicitWidth: Math.min(label.implicitWidth, 240) + leftPadding + rightPadding
    implicitHeight: label.implicitHeight + topPadding + bottomPadding
    leftPadding: 8
    rightPadding: 8
    topPadding: 4
    bottomPadding: 4
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    Accessible.role: Accessible.Button
    Accessible.name: "Keys of " + shortcut + ": " + text
    Accessible.onPressAction: if (enabled) clicked()
    onClicked: {
        forceActiveFocus(Qt.MouseFocusReason);
        recordingRequested();
    }
    onActiveFocusChanged: if (!activeFocus && recording) recordingCancelled()
    // The release of a key that was recorded arrives here too and would count as a click.
    Keys.onReleased: event => event.accepted = event.key === Qt.Key_Space
    Keys.onPressed: event => {
        if ([Qt.Key_Space, Qt.Key_Return, Qt.Key_Enter].includes(event.key)) {
            event.accepted = true;
            if (!event.isAutoRepeat) {
                recordingRequested();
            }
        }
    }

    background: Rectangle {
        radius: 4
        color: chip.recording ? Qt.alpha(Theme.accent, 0.2) : Theme.control
        border.width: 1
        border.color: chip.recording ? Theme.accent : Qt.alpha(Theme.separator, 0.25)

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: chip.hovered && !chip.recording
            color: Qt.alpha(Theme.primary, chip.down ? 0.12 : 0.06)
        }
        FocusRing {
            shown: chip.visualFocus
            radius: 6
        }
    }

    contentItem: Text {
        id: label
        text: chip.text
        textFormat: Text.PlainText
        elide: Text.ElideMiddle
        color: Theme.primary
        font.family: "monospace"
        font.pixelSize: 12
        Accessible.ignored: true
    }

    NativeToolTipView {
        text: label.truncated ? chip.text : ""
    }
}
