import QtQuick
import Corvane

// The account page: shows who is signed in, with a button to sign out.
Item {
    id: view

    required property AccountPresenter presenter

    Column {
        x: 24
        y: 24
        width: parent.width - 48
        spacing: 16

        Text {
            text: "Account"
            color: Theme.primary
            font.pixelSize: 22
            font.weight: Font.Bold
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Text {
            visible: text !== ""
            width: parent.width
            text: view.presenter.errorMessage
            textFormat: Text.PlainText
            color: Theme.red
            font.pixelSize: 12
            wrapMode: Text.Wrap
            Accessible.role: Accessible.AlertMessage
            Accessible.name: text
        }
        CardSurface {
            width: parent.width
            height: 72
            fill: Theme.control

            Symbol {
                id: picture
                x: 16
                anchors.verticalCenter: parent.verticalCenter
                name: "person.crop.circle.fill"
                size: 32
                color: Theme.secondary
            }
            Column {
                anchors.left: picture.right
                anchors.leftMargin: 14
                anchors.right: leave.left
                anchors.rightMargin: 14
                anchors.verticalCenter: parent.verticalCenter
                spacing: 3

                SpokenText {
                    width: parent.width
                    text: view.presenter.email
                    elide: Text.ElideMiddle
                    color: Theme.primary
                    font.pixelSize: 14
                    font.weight: Font.Medium
                }
                SpokenText {
                    text: "Signed in"
                    color: Theme.green
                    font.pixelSize: 12
                }
            }
            SmallButton {
                id: leave
                anchors.right: parent.right
                anchors.rightMargin: 16
                anchors.verticalCenter: parent.verticalCenter
                text: "Sign out"
                prominent: true
                tint: Theme.destructive
                busy: view.presenter.isSigningOut
                enabled: !view.presenter.isSigningOut
                onClicked: view.presenter.signOut()
            }
        }
    }
}
