import QtQuick
import Corvane

ScrollPage {
    id: page

    required property ShortcutsPresenter presenter

    onAppeared: presenter.appear()
    Component.onDestruction: presenter.leave()

    Column {
        width: parent.width
        spacing: 8

        Item {
            width: parent.width
            height: heading.height

            PageHeading {
                id: heading
                anchors.left: parent.left
                anchors.right: reset.left
                anchors.rightMargin: 12
                title: "Shortcuts"
                text: "Configure global keyboard shortcuts."
            }
            SmallButton {
                id: reset
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "Reset to Defaults"
                onClicked: page.presenter.resetToDefaults()
            }
        }
        NoteText {
            id: resetNote
            width: parent.width
            horizontalAlignment: Text.AlignRight
            text: page.presenter.resetNote

            // Every reset is visible, also one that changes nothing.
            NumberAnimation {
                id: appearing
                target: resetNote
                property: "opacity"
                from: 0
                to: 1
                duration: 300
            }
            Connections {
                target: page.presenter
                function onWasReset() {
                    appearing.restart();
                }
            }
        }
    }

    Banner {
        width: parent.width
        visible: page.presenter.reachNotice !== ""
        radius: 8
        symbol: "keyboard"
        text: page.presenter.reachNotice
    }

    Banner {
        width: parent.width
        visible: page.presenter.takenNotice !== ""
        radius: 8
        symbol: "exclamationmark.triangle.fill"
        symbolColor: Theme.orange
        text: page.presenter.takenNotice

        SmallButton {
            text: "Use Free Keys"
            onClicked: page.presenter.useFreeKeys()
        }
    }

    Column {
        id: cursorSection
        width: parent.width
        spacing: 8

        SectionLabel {
            text: "Cursor Type"
        }
        Item {
            width: parent.width
            height: cursor.height

            Text {
                id: caption
                width: 56
                anchors.verticalCenter: parent.verticalCenter
                text: "Cursor"
                textFormat: Text.PlainText
                color: Theme.primary
                font.pixelSize: 13
            }
            FormComboBox {
                id: cursor
                anchors.left: caption.right
                anchors.right: parent.right
                label: "Cursor"
                model: page.presenter.cursors
                row: page.presenter.cursor
                onPicked: row => page.presenter.pickCursor(row)
            }
        }
    }

    CardSurface {
        width: parent.width
        height: shortcutsList.height

        Column {
            id: shortcutsList
            width: parent.width

            Repeater {
                // The rows are kept when their data change, as one of them may have the focus.
                model: page.presenter.rowCount

                ShortcutRow {
                    id: shortcutRow

                    required property int index
                    readonly property var shortcut: page.presenter.rows[index]

                    width: shortcutsList.width
                    name: shortcut.name
                    description: shortcut.description
                    key: shortcut.key
                    on: shortcut.isOn
                    recording: shortcut.isRecording
                    note: shortcut.note
                    warning: shortcut.warning
                    onToggled: page.presenter.toggle(index)
                    onRecordingRequested: page.presenter.record(index)
                    onRecordingCancelled: page.presenter.stopRecording()
                    onUseAnywayRequested: page.presenter.takeKey()
                    onHeightChanged: if (recording) page.reveal(shortcutRow)

                    Rectangle {
                        visible: shortcutRow.index > 0
                        width: shortcutsList.width
                        height: 1
                        color: Qt.alpha(Theme.separator, 0.25)
                    }
                }
            }
        }
    }
}
