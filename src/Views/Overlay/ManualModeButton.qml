import QtQuick
import Corvane

BaseButton {
    id: button

    required property InterviewModesPresenter modes

    text: "MANUAL"
    implicitWidth: implicitContentWidth + 16
    implicitHeight: implicitContentHeight + 8
    enabled: modes.manualModeAvailable
    opacity: modes.manualModeAvailable ? 1 : 0
    checkable: true
    checked: modes.manualMode
    Accessible.role: Accessible.CheckBox
    Accessible.description: modes.manualModeTooltip
    Accessible.onToggleAction: if (enabled) clicked()
    Accessible.ignored: !modes.manualModeAvailable
    onToggled: checked = Qt.binding(() => modes.manualMode)
    onClicked: modes.toggleManualMode()
    Behavior on opacity { Ease {} }

    background: Rectangle {
        radius: 5
        color: Qt.alpha(Theme.accent, button.modes.manualMode ? 1 : 0)
        border.width: 1
        border.color: Qt.alpha(Theme.secondary, 0.4)
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: button.down || button.hovered
            color: Qt.alpha(button.modes.manualMode ? Theme.onAccent : Theme.primary, button.down ? 0.16 : 0.07)
        }
        FocusRing {
            shown: button.visualFocus
            radius: 7
        }
    }

    contentItem: Text {
        text: button.text
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        color: button.modes.manualMode ? Theme.onAccent : Theme.secondary
        font.pixelSize: 10
        font.weight: Font.DemiBold
        Behavior on color { ColorAnimation { duration: 150; easing.type: Easing.InOutQuad } }
    }

    NativeToolTipView {
        text: button.modes.manualModeTooltip
    }
}
