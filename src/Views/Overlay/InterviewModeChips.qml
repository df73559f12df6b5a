import QtQuick
import Corvane

Rectangle {
    id: chips

    required property InterviewModesPresenter modes

    implicitWidth: row.implicitWidth + 4
    implicitHeight: row.implicitHeight + 4
    radius: 7
    color: Qt.alpha(Theme.textField, 0.5)

    Row {
        id: row
        x: 2
        y: 2

        Repeater {
            model: chips.modes.labels

            ModeSegment {
                required property int index
                required property string modelData

                label: modelData
                active: chips.modes.active[index]
                disabled: chips.modes.disabled[index]
                onClicked: chips.modes.select(index)
            }
        }
    }
}
