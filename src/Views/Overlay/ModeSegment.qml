import QtQuick
import Corvane
import QtQuick.Templates as T

// One of several modes, only one of which is active.
T.RadioButton {
    id: segment

    required property string label
    required property bool active
    required property bool disabled

    implicitWidth: implicitContentWidth + 20
    implicitHeight: implicitContentHeight + 8
    enabled: !disabled
    opacity: disabled ? 0.35 : 1
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    checked: active
    Accessible.name: label
    Accessible.onToggleAction: if (enabled) clicked()
    Accessible.onPressAction: if (enabled) clicked()
    onToggled: checked = Qt.binding(() => active)
    Keys.onReturnPressed: clicked()
    Keys.onEnterPressed: clicked()
    Behavior on opacity { Ease {} }

    background: Item {
        Item {
            anchors.fill: parent
            opacity: segment.active ? 1 : 0
            Behavior on opacity { Ease {} }

            SoftShadow {
                anchors.fill: parent
                anchors.topMargin: 1
                strength: 0.12
                blur: 2
                radius: 5
            }
            Rectangle {
                anchors.fill: parent
                radius: 5
                color: Theme.control
            }
        }
        Rectangle {
            anchors.fill: parent
            radius: 5
            visible: segment.down || (segment.hovered && !segment.active)
            color: Qt.alpha(Theme.primary, segment.down ? 0.12 : 0.05)
        }
        FocusRing {
            shown: segment.visualFocus
            anchors.margins: 0
            radius: 5
        }
    }

    contentItem: Text {
        text: segment.label
        textFormat: Text.PlainText
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        color: segment.active ? Theme.primary : Theme.secondary
        font.pixelSize: 11
        font.weight: Font.Medium
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }
}
