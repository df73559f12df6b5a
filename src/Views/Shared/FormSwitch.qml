import QtQuick
import Corvane

// A switch with a label and an optional line under it. It shows `on` and does not change it: the handler of clicked()
// does.
BaseButton {
    id: control

    property bool on: false
    property string note

    implicitWidth: words.x + Math.max(label.implicitWidth, noteText.implicitWidth)
    implicitHeight: Math.max(20, words.implicitHeight)
    checkable: true
    checked: on
    opacity: enabled ? 1 : 0.5
    Accessible.role: Accessible.CheckBox
    Accessible.description: note
    Accessible.onToggleAction: if (enabled) clicked()
    onToggled: checked = Qt.binding(() => on)

    indicator: Rectangle {
        width: 34
        height: 20
        radius: 10
        color: control.on ? Theme.accent : Qt.alpha(Theme.separator, 0.8)

        Rectangle {
            x: control.on ? parent.width - width - 2 : 2
            y: 2
            width: 16
            height: 16
            radius: 8
            color: Qt.darker(Theme.onAccent, control.down ? 1.08 : 1)

            Behavior on x {
                NumberAnimation {
                    duration: 100
                    easing.type: Easing.InOutQuad
                }
            }
        }

        FocusRing {
            shown: control.visualFocus
            radius: 12
        }
    }

    contentItem: Item {
        Column {
            id: words
            x: 44
            width: parent.width - x
            spacing: 3

            Text {
                id: label
                width: parent.width
                height: Math.max(20, implicitHeight)
                verticalAlignment: Text.AlignVCenter
                text: control.text
                textFormat: Text.PlainText
                wrapMode: Text.Wrap
                color: Theme.primary
                font.pixelSize: 13
                Accessible.ignored: true
            }
            NoteText {
                id: noteText
                width: parent.width
                text: control.note
                Accessible.ignored: true
            }
        }
    }
}
