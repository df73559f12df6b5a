import QtQuick
import Corvane

// Marks the end of the candidate's answer. It slides in from the bottom edge and out again.
BaseButton {
    id: button

    required property bool shown
    property real presence: shown ? 1 : 0

    text: "Send"
    implicitWidth: 310
    implicitHeight: 36
    visible: presence > 0
    enabled: shown
    opacity: presence
    Accessible.description: tip.text
    Behavior on presence {
        NumberAnimation {
            duration: 200
            easing.type: Easing.InOutQuad
        }
    }

    background: Item {
        SoftShadow {
            y: 3
            width: parent.width
            height: parent.height
            radius: height / 2
            strength: 0.3
            blur: 8
        }
        // Fills the area that the rings of the shadow leave open under the shifted edge.
        Rectangle {
            y: 3
            width: parent.width
            height: parent.height
            radius: height / 2
            color: Qt.alpha(Theme.shadow, 0.15)
        }
        Rectangle {
            anchors.fill: parent
            radius: height / 2
            color: Theme.accent
        }
        Rectangle {
            anchors.fill: parent
            radius: height / 2
            visible: button.down || button.hovered
            color: Qt.alpha(Theme.onAccent, button.down ? 0.16 : 0.07)
        }
        FocusRing {
            shown: button.visualFocus
            anchors.margins: -3
            radius: height / 2
        }
    }

    contentItem: Item {
        Row {
            anchors.centerIn: parent
            spacing: 6

            Symbol {
                name: "arrow.up.circle.fill"
                size: 16
                color: Theme.onAccent
                anchors.verticalCenter: parent.verticalCenter
            }
            Text {
                text: button.text
                color: Theme.onAccent
                font.pixelSize: 13
                font.weight: Font.Medium
                anchors.verticalCenter: parent.verticalCenter
            }
        }
    }

    NativeToolTipView {
        id: tip
        text: "Send response trigger now to get the assistant's reply. Hotkey: Space."
    }
}
