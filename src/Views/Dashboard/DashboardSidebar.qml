import QtQuick
import Corvane

// The list of pages, the version and the button to quit.
Rectangle {
    id: sidebar

    required property DashboardPresenter presenter

    color: Theme.material

    Column {
        id: rows
        x: 10
        y: 18
        width: parent.width - 20
        spacing: 2
        Accessible.role: Accessible.List
        Accessible.name: "Pages"

        Repeater {
            model: sidebar.presenter.pages

            SidebarRow {
                required property var modelData
                required property int index

                width: rows.width
                text: modelData.title
                symbol: modelData.symbol
                highlighted: sidebar.presenter.selectedPage === index
                onClicked: sidebar.presenter.selectedPage = index
                Keys.onDownPressed: nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)
                Keys.onUpPressed: nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
                Keys.onReturnPressed: clicked()
                Keys.onEnterPressed: clicked()
            }
        }
    }

    Column {
        anchors.bottom: parent.bottom
        anchors.bottomMargin: 12
        width: parent.width
        spacing: 8

        Rectangle {
            width: parent.width
            height: 1
            color: Qt.alpha(Theme.separator, 0.25)
        }
        SpokenText {
            x: 16
            text: sidebar.presenter.version
            color: Theme.tertiary
            font.pixelSize: 10
        }
        BaseButton {
            id: quit
            x: 10
            width: parent.width - 20
            height: 24
            text: "Quit Corvane Lumetra"
            onClicked: sidebar.presenter.quit()

            background: FocusRing {
                shown: quit.visualFocus
            }
            contentItem: Item {
                Symbol {
                    id: picture
                    x: 6
                    anchors.verticalCenter: parent.verticalCenter
                    name: "power"
                    size: 11
                    color: label.color
                }
                Text {
                    id: label
                    anchors.left: picture.right
                    anchors.leftMargin: 6
                    anchors.verticalCenter: parent.verticalCenter
                    text: quit.text
                    color: quit.hovered ? Theme.primary : Theme.secondary
                    font.pixelSize: 12
                }
            }
        }
    }

    Rectangle {
        anchors.right: parent.right
        width: 1
        height: parent.height
        color: Qt.alpha(Theme.separator, 0.25)
    }
}
