import QtQuick
import Corvane

// A row of the shortcuts page: the name of an action, its keys, its switch, and notes about it.
Item {
    id: row

    property string name
    property string description
    property alias key: chip.text
    property alias on: enabledSwitch.on
    property alias recording: chip.recording
    property alias note: noteText.text
    property alias warning: warningText.text

    signal toggled
    signal recordingRequested
    signal recordingCancelled
    signal useAnywayRequested

    implicitHeight: column.height + 24

    Column {
        id: column
        x: 12
        y: 12
        width: parent.width - 24
        spacing: 6

        Item {
            width: parent.width
            height: Math.max(words.height, chip.height, enabledSwitch.height)

            Column {
                id: words
                anchors.left: parent.left
                anchors.right: chip.left
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                spacing: 2

                Text {
                    width: parent.width
                    text: row.name
                    textFormat: Text.PlainText
                    wrapMode: Text.Wrap
                    color: Theme.primary
                    font.pixelSize: 13
                }
                NoteText {
                    width: parent.width
                    text: row.description
                }
            }
            KeyChip {
                id: chip
                anchors.right: enabledSwitch.left
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                shortcut: row.name
                onRecordingRequested: row.recordingRequested()
                onRecordingCancelled: row.recordingCancelled()
            }
            FormSwitch {
                id: enabledSwitch
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                width: 34
                Accessible.name: row.name
                Accessible.description: row.description
                onClicked: row.toggled()
            }
        }
        NoteText {
            id: noteText
            width: parent.width
        }
        Item {
            visible: row.warning !== ""
            width: parent.width
            height: Math.max(warningText.height, take.height)

            NoteText {
                id: warningText
                anchors.left: parent.left
                anchors.right: take.left
                anchors.rightMargin: 12
                anchors.verticalCenter: parent.verticalCenter
                color: Theme.orange
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
            SmallButton {
                id: take
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: "Use Anyway"
                // A click must not move the focus away from the chip, which would end the recording.
                focusPolicy: Qt.TabFocus
                onClicked: row.useAnywayRequested()
            }
        }
    }
}
