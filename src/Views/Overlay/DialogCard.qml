import QtQuick
import Corvane

// A dialog of the bar. The first button cancels and has the focus.
Material {
    id: card

    required property OverlayBarPresenter presenter

    signal opened(Item first)

    implicitWidth: 620
    implicitHeight: 200
    radius: 10
    Accessible.role: Accessible.Dialog
    Accessible.name: presenter.dialogTitle
    Accessible.description: presenter.dialogBody

    Column {
        anchors.centerIn: parent
        width: parent.width - 64
        spacing: 8

        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            text: card.presenter.dialogTitle
            color: Theme.primary
            font.pixelSize: 15
            font.weight: Font.DemiBold
        }
        Text {
            width: parent.width
            horizontalAlignment: Text.AlignHCenter
            visible: text !== ""
            text: card.presenter.dialogBody
            wrapMode: Text.Wrap
            color: Theme.secondary
            font.pixelSize: 13
        }
        Item {
            width: 1
            height: 8
        }
        Row {
            anchors.horizontalCenter: parent.horizontalCenter
            spacing: 10

            Repeater {
                id: answers
                model: card.presenter.dialogButtons

                SmallButton {
                    required property int index
                    required property string modelData

                    width: Math.max(88, implicitWidth)
                    implicitHeight: 28
                    text: modelData
                    prominent: index === answers.count - 1
                    onClicked: card.presenter.pressDialogButton(index)
                    Component.onCompleted: if (index === 0) card.opened(this)
                }
            }
        }
    }
}
