import QtQuick
import Corvane

// The start control.
Item {
    id: control

    required property AudioControlPresenter presenter

    // The bar has no room to give away.
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

    // Over the button and not in it: it has to speak when the button is disabled, too.
    NativeToolTipView {
        text: control.presenter.tip
    }

    // Why a start failed is said without being asked for.
    Timer {
        id: notice
        interval: 10000
        running: control.presenter.failed
    }

    Loader {
        active: notice.running && control.visible && control.Window.visibility !== Window.Hidden
        sourceComponent: TipWindow {
            text: control.presenter.tip
            target: button
        }
    }
}
