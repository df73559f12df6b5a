import QtQuick
import Corvane
import QtQuick.Layouts

// The bar: everything that is needed during a call, in one row.
Material {
    id: bar

    required property OverlayBarPresenter presenter
    // The place under which the popover of the connection's state is centred.
    readonly property real statusCentre: row.x + status.x + status.width / 2
    readonly property Item statusIcon: status

    implicitWidth: 620
    implicitHeight: 48
    radius: 10
    strength: presenter.materialStrength

    DragArea {
        anchors.fill: parent
        onMoveRequested: bar.presenter.startMove()
    }

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.leftMargin: 14
        anchors.rightMargin: 14
        anchors.topMargin: 8
        anchors.bottomMargin: 8
        spacing: 10

        AudioControlView {
            presenter: bar.presenter.audioControl
        }
        CompletionInputView {
            Layout.fillWidth: true
            presenter: bar.presenter.input
        }
        InterviewModeChips {
            id: interviewModeChips
            visible: bar.presenter.modes.visible
            modes: bar.presenter.modes
        }
        ManualModeButton {
            id: manualModeButton
            visible: bar.presenter.modes.visible
            modes: bar.presenter.modes
        }
        IconButton {
            id: responseToggleButton
            visible: bar.presenter.hasContent
            symbol: bar.presenter.manuallyDismissed ? "chevron.down" : "chevron.up"
            symbolSize: 11
            tip: bar.presenter.manuallyDismissed ? "Show panel" : "Hide panel"
            onClicked: bar.presenter.toggleContent()
        }
        WsStatusView {
            id: status
            presenter: bar.presenter.status
        }
        IconButton {
            id: dashboardButton
            symbol: "gearshape"
            symbolSize: 12
            tint: Theme.tertiary
            tip: "Settings"
            onClicked: bar.presenter.showDashboard()
        }
        IconButton {
            id: closeButton
            symbol: "xmark"
            symbolSize: 10
            tint: Theme.tertiary
            tip: "Quit"
            onClicked: bar.presenter.askToQuit()
        }
    }
}
