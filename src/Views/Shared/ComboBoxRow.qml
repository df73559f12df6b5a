import QtQuick
import Corvane
import QtQuick.Templates as T

// A row in the list of a FormComboBox.
T.ItemDelegate {
    id: row

    required property int index
    required property string modelData
    property bool current: false
    readonly property color ink: highlighted ? Theme.onAccent : Theme.primary

    implicitHeight: 26
    leftPadding: 26
    rightPadding: 8
    text: modelData
    hoverEnabled: true
    Accessible.role: Accessible.ListItem
    Accessible.name: text
    Accessible.onPressAction: if (enabled) clicked()

    background: Rectangle {
        radius: 5
        color: row.highlighted ? Theme.accent : "transparent"

        Symbol {
            x: 8
            anchors.verticalCenter: parent.verticalCenter
            visible: row.current
            name: "checkmark"
            size: 11
            color: row.ink
        }
    }

    contentItem: Text {
        id: caption
        text: row.text
        textFormat: Text.PlainText
        elide: Text.ElideMiddle
        verticalAlignment: Text.AlignVCenter
        color: row.ink
        font.pixelSize: 13
        Accessible.ignored: true
    }

    NativeToolTipView {
        text: caption.truncated ? row.text : ""
    }
}
