import QtQuick
import Corvane

// A section of the audio page: the choice of one kind of device.
Column {
    id: section

    property alias title: heading.text
    property string label
    property alias devices: picker.model
    property alias row: picker.row
    // The device that is heard at present, whichever is chosen here, and its level from 0 to 1.
    property string heard
    property alias level: bar.level

    signal picked(int row)

    spacing: 8

    SectionLabel {
        id: heading
    }
    Item {
        width: parent.width
        height: picker.height

        Text {
            id: caption
            width: 56
            anchors.verticalCenter: parent.verticalCenter
            text: section.label
            textFormat: Text.PlainText
            color: Theme.primary
            font.pixelSize: 13
        }
        FormComboBox {
            id: picker
            anchors.left: caption.right
            anchors.right: parent.right
            label: section.label
            onPicked: row => section.picked(row)
        }
    }
    Item {
        width: parent.width
        height: heardText.height

        NoteText {
            id: heardText
            anchors.left: parent.left
            anchors.leftMargin: caption.width
            anchors.right: bar.left
            anchors.rightMargin: 12
            text: section.heard !== "" ? "Heard now: " + section.heard : "Nothing is heard now."
        }
        LevelBar {
            id: bar
            anchors.right: parent.right
            anchors.verticalCenter: heardText.verticalCenter
            label: section.label + " level"
        }
    }
}
