import QtQuick
import Corvane

ScrollPage {
    id: page

    required property AudioSettingsPresenter presenter

    onAppeared: presenter.appear()
    onShownChanged: if (!shown) presenter.disappear()
    Component.onDestruction: presenter.disappear()

    PageHeading {
        width: parent.width
        title: "Audio"
        text: "Configure audio devices for capture."
    }

    Banner {
        width: parent.width
        visible: page.presenter.devicesNotice !== ""
        radius: 8
        symbol: "exclamationmark.triangle.fill"
        symbolColor: Theme.orange
        text: page.presenter.devicesNotice
        fill: Qt.alpha(Theme.orange, 0.1)
    }

    DevicePicker {
        width: parent.width
        title: "Input Device"
        label: "Input"
        devices: page.presenter.inputs
        row: page.presenter.input
        heard: page.presenter.heardInput
        level: page.presenter.inputLevel
        onPicked: row => page.presenter.pickInput(row)
    }

    DevicePicker {
        width: parent.width
        title: "Output Device"
        label: "Output"
        devices: page.presenter.outputs
        row: page.presenter.output
        heard: page.presenter.heardOutput
        level: page.presenter.outputLevel
        onPicked: row => page.presenter.pickOutput(row)
    }

    Column {
        width: parent.width
        spacing: 8

        SectionLabel {
            text: "System Audio Setup"
        }
        NoteText {
            width: parent.width
            text: "To capture system audio, grant Screen Recording permission in System Settings > Privacy & Security > Screen Recording."
        }
        SmallButton {
            text: "Open System Settings"
            onClicked: page.presenter.openSystemSettings()
        }
        NoteText {
            width: parent.width
            text: page.presenter.setupNotice
            color: Theme.orange
        }
    }
}
