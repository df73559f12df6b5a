import QtQuick
import Corvane

ScrollPage {
    id: page

    required property AppSettingsPresenter presenter

    PageHeading {
        width: parent.width
        title: "Settings"
        text: "Customize app appearance and behavior."
    }

    Column {
        spacing: 8

        SectionLabel {
            text: "Theme"
        }
        SegmentedPicker {
            label: "Theme"
            model: page.presenter.themes
            currentIndex: page.presenter.theme
            onPicked: index => page.presenter.pickTheme(index)
        }
    }

    Column {
        width: parent.width
        spacing: 8

        Item {
            width: parent.width
            height: label.height

            SectionLabel {
                id: label
                text: "Transparency"
            }
            SpokenText {
                anchors.right: parent.right
                anchors.baseline: label.baseline
                text: page.presenter.transparencyText
                color: Theme.secondary
                font.family: "monospace"
                font.pixelSize: 12
            }
        }
        FormSlider {
            width: parent.width
            label: "Transparency"
            from: 20
            to: 100
            stepSize: 5
            value: page.presenter.transparency
            onMoved: page.presenter.transparency = value
        }
    }

    Column {
        width: parent.width
        spacing: 12

        SectionLabel {
            text: "Behavior"
        }
        FormSwitch {
            text: "Show Dock Icon"
            on: page.presenter.showsDockIcon
            onClicked: page.presenter.toggleDockIcon()
        }
        FormSwitch {
            text: "Always on Top"
            on: page.presenter.alwaysOnTop
            onClicked: page.presenter.toggleAlwaysOnTop()
        }
        FormSwitch {
            width: Math.min(implicitWidth, parent.width)
            text: "Content Protection"
            note: page.presenter.contentProtectionNote
            on: page.presenter.contentProtection
            onClicked: page.presenter.toggleContentProtection()
        }
        FormSwitch {
            width: Math.min(implicitWidth, parent.width)
            text: "Launch at Login"
            note: page.presenter.launchNote
            on: page.presenter.launchesAtLogin
            onClicked: page.presenter.toggleLaunchAtLogin()
        }
    }

    Column {
        width: parent.width
        spacing: 8

        Item {
            width: parent.width
            height: source.height

            SectionLabel {
                id: source
                text: "Chat Answers"
            }
            SpokenText {
                anchors.left: source.right
                anchors.leftMargin: 24
                anchors.right: parent.right
                anchors.baseline: source.baseline
                horizontalAlignment: Text.AlignRight
                elide: Text.ElideRight
                text: page.presenter.answerSource
                color: Theme.secondary
                font.pixelSize: 13
            }
        }
        NoteText {
            width: parent.width
            text: page.presenter.answerSourceNote
        }
    }

    Loader {
        width: parent.width
        visible: active
        active: page.presenter.updater !== null
        // Loaded by its address, as a build without the updater does not have the view.
        Component.onCompleted: if (active) setSource("qrc:/qt/qml/Corvane/Updates/UpdaterView.qml", {presenter: page.presenter.updater})
    }
}
