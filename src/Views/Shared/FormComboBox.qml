import QtQuick
import Corvane
import QtQuick.Templates as T

// A choice from a list that opens under it. It shows `row`, nothing for -1, and does not change it: it emits picked()
// instead.
T.ComboBox {
    id: box

    property string label
    property int row: -1

    signal picked(int row)

    function showRow() {
        currentIndex = row;
    }

    implicitWidth: 260
    implicitHeight: 28
    leftPadding: 10
    rightPadding: 28
    hoverEnabled: true
    focusPolicy: Qt.StrongFocus
    font.pixelSize: 13
    opacity: enabled ? 1 : 0.5
    Accessible.name: label
    Accessible.description: displayText
    Accessible.onPressAction: if (enabled) popup.open()
    // The control has a current row of its own, which it resets when the list changes.
    onRowChanged: showRow()
    onModelChanged: showRow()
    onActivated: index => {
        picked(index);
        showRow();
    }
    Component.onCompleted: showRow()

    background: Rectangle {
        radius: 6
        color: Qt.alpha(Theme.control, 0.9)
        border.width: 1
        border.color: Qt.alpha(Theme.separator, 0.45)

        Rectangle {
            anchors.fill: parent
            radius: parent.radius
            visible: box.down || box.hovered
            color: Qt.alpha(Theme.primary, box.down ? 0.1 : 0.04)
        }
        FocusRing {
            shown: box.visualFocus
        }
    }

    contentItem: Text {
        id: shown
        text: box.displayText
        textFormat: Text.PlainText
        elide: Text.ElideMiddle
        verticalAlignment: Text.AlignVCenter
        color: Theme.primary
        font: box.font
        Accessible.ignored: true
    }

    indicator: Symbol {
        x: box.width - width - 9
        y: (box.height - height) / 2
        name: "chevron.up.chevron.down"
        size: 11
        color: Theme.secondary
    }

    delegate: ComboBoxRow {
        width: list.width
        current: index === box.currentIndex
        highlighted: index === box.highlightedIndex
    }

    popup: T.Popup {
        y: box.height + 4
        margins: 8
        padding: 4
        width: box.width
        height: Math.min(list.contentHeight + 8, 240)

        background: Rectangle {
            radius: 8
            color: Theme.material
            border.width: 1
            border.color: Qt.alpha(Theme.separator, 0.45)

            SoftShadow {
                anchors.fill: parent
                z: -1
                strength: 0.2
            }
        }

        contentItem: ListView {
            id: list
            clip: true
            model: box.delegateModel
            currentIndex: box.highlightedIndex
            boundsBehavior: Flickable.StopAtBounds
            highlightMoveDuration: 0
            T.ScrollBar.vertical: ThinScrollBar {}
        }
    }

    NativeToolTipView {
        text: shown.truncated && !box.popup.visible ? box.displayText : ""
    }
}
