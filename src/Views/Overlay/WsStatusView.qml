import QtQuick
import Corvane

// The icon for trouble with the connection, which opens WsStatusPopover.
IconButton {
    required property WsStatusPresenter presenter

    implicitWidth: 28
    implicitHeight: 28
    symbol: presenter.symbol
    symbolSize: 12
    tint: Theme[presenter.color]
    tip: presenter.statusText
    enabled: presenter.showIcon
    opacity: presenter.showIcon ? 1 : 0
    visible: opacity > 0
    onClicked: presenter.showPopover = !presenter.showPopover
    Behavior on opacity { Ease { duration: 200 } }
}
