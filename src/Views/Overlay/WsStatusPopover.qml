import QtQuick
import Corvane

// Says what is wrong with the connection, with a button that helps.
Rectangle {
    id: popover

    required property WsStatusPresenter presenter
    readonly property int shadow: 8
    readonly property int padding: 12

    function takeFocus() {
        action.forceActiveFocus(Qt.TabFocusReason);
    }

    implicitWidth: Math.max(220, Math.min(content.implicitWidth, 280) + 2 * padding)
    implicitHeight: content.implicitHeight + 2 * padding
    radius: 10
    color: Theme.window
    border.width: 1
    border.color: Qt.alpha(Theme.separator, 0.3)
    Accessible.role: Accessible.Dialog
    Accessible.name: presenter.statusText
    Accessible.description: presenter.statusMessage

    SoftShadow {
        z: -1
        anchors.fill: parent
        blur: popover.shadow
        radius: popover.radius
    }

    MouseArea {
        anchors.fill: parent
    }

    Column {
        id: content
        x: popover.padding
        y: popover.padding
        width: popover.width - 2 * popover.padding
        spacing: 12

        Row {
            spacing: 6

            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: popover.presenter.symbol
                size: 13
                color: Theme[popover.presenter.color]
            }
            Text {
                text: popover.presenter.statusText
                textFormat: Text.PlainText
                color: Theme.primary
                font.pixelSize: 13
                font.weight: Font.Medium
            }
        }

        Text {
            width: parent.width
            text: popover.presenter.statusMessage
            textFormat: Text.PlainText
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 12
        }

        SmallButton {
            id: action
            prominent: true
            text: popover.presenter.actionText
            onClicked: popover.presenter.act()
        }
    }
}
