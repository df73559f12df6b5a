import QtQuick
import Corvane

// A section of the audio page: one device of one kind.
Column {
    id: section

    property alias title: heading.text
    property string label
    property alias devices: picker.model
    property alias row: picker.row

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
}
