import QtQuick
import Corvane

// The start control.
Item {
    id: control

    required property AudioControlPresenter presenter

    // The bar has no space to spare.
    implicitWidth: button.implicitWidth - 4
    implicitHeight: button.implicitHeight

    SmallButton {
        id: button
        anchors.fill: parent
        prominent: true
        tint: Theme[control.presenter.tint]
        busy: control.presenter.symbol === ""
        symbol: control.presenter.symbol
        text: control.presenter.text
        enabled: control.presenter.enabled
        Accessible.description: control.presenter.tip
        onClicked: {
            control.presenter.press();
            if (control.presenter.failed)
                notice.restart();
        }
    }

    // It lies over the button and not in it, because it has to work while the button is disabled, too.
    NativeToolTipView {
        text: control.presenter.tip
    }

    // The reason for a failed start is shown without the user asking for it.
    Timer {
        id: notice
        interval: 10000
        running: control.presenter.failed
    }

    Loader {
        active: notice.running && control.visible && control.Window.visibility !== Window.Hidden
        sourceComponent: NativeToolTip {
            text: control.presenter.tip
            target: button
        }
    }
}
