import QtQuick
import Corvane
import QtQuick.Templates as T

// A choice of a few values, side by side. It shows `currentIndex` and does not change it: it emits picked() instead.
// It is one stop for the Tab key; the arrow keys pick.
Rectangle {
    id: picker

    property string label
    property var model: []
    property int currentIndex: -1

    signal picked(int index)

    function step(index) {
        if (index >= 0 && index < segments.count) {
            segments.itemAt(index).forceActiveFocus(Qt.TabFocusReason);
            picked(index);
        }
    }

    implicitWidth: row.implicitWidth + 4
    implicitHeight: 28
    radius: 7
    color: Qt.alpha(Theme.separator, 0.18)
    Accessible.role: Accessible.Grouping
    Accessible.name: label

    Row {
        id: row
        x: 2
        y: 2

        Repeater {
            id: segments
            model: picker.model

            T.RadioButton {
                id: segment

                required property int index
                required property string modelData
                readonly property bool current: index === picker.currentIndex

                width: Math.max(84, caption.implicitWidth + 28)
                height: 24
                text: modelData
                focusPolicy: current || (picker.currentIndex < 0 && index === 0) ? Qt.StrongFocus : Qt.ClickFocus
                hoverEnabled: true
                checked: current
                onToggled: checked = Qt.binding(() => current)
                onClicked: picker.picked(index)
                Accessible.name: text
                Accessible.onToggleAction: if (enabled) clicked()
                Accessible.onPressAction: if (enabled) clicked()
                Keys.onLeftPressed: picker.step(index - 1)
                Keys.onRightPressed: picker.step(index + 1)

                background: Rectangle {
                    radius: 5
                    color: segment.current ? Theme.control
                                           : Qt.alpha(Theme.primary, segment.down ? 0.1 : segment.hovered ? 0.05 : 0)
                    border.width: segment.current ? 1 : 0
                    border.color: Qt.alpha(Theme.separator, 0.35)

                    FocusRing {
                        shown: segment.visualFocus
                        radius: 7
                    }
                }

                contentItem: Text {
                    id: caption
                    text: segment.text
                    textFormat: Text.PlainText
                    horizontalAlignment: Text.AlignHCenter
                    verticalAlignment: Text.AlignVCenter
                    color: segment.current ? Theme.primary : Theme.secondary
                    font.pixelSize: 13
                    font.weight: segment.current ? Font.Medium : Font.Normal
                    Accessible.ignored: true
                }
            }
        }
    }
}
