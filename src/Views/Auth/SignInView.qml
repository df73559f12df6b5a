import QtQuick
import Corvane

// The sign-in card in the middle of the window.
Rectangle {
    id: view

    required property SignInPresenter presenter
    readonly property string phase: presenter ? presenter.phase : ""
    // How much the card reduces its spacing in a low window, from 0 to 1.
    readonly property real naturalHeight: 64 + heading.implicitHeight + form.implicitHeight + (failure.visible ? failure.implicitHeight + 28 : 0) + 56 + 88
    readonly property real squeeze: Math.max(0, Math.min(1, (naturalHeight + 80 - height) / 160))

    function tightened(natural: real, tightest: real): real {
        return Math.round(natural + squeeze * (tightest - natural));
    }

    color: Theme.window

    Item {
        id: card
        anchors.centerIn: parent
        width: Math.min(420, parent.width - 80)
        height: rows.implicitHeight + 2 * rows.y

        SoftShadow {
            anchors.fill: parent
            anchors.topMargin: 4
            anchors.bottomMargin: -4
            strength: 0.06
            blur: 20
            radius: 16
        }

        Rectangle {
            anchors.fill: parent
            radius: 16
            color: Theme.control
            border.width: 1
            border.color: Qt.alpha(Theme.secondary, 0.12)
        }

        Column {
            id: rows
            x: 40
            y: view.tightened(44, 20)
            width: parent.width - 80
            spacing: view.tightened(28, 14)

            Symbol {
                anchors.horizontalCenter: parent.horizontalCenter
                width: view.tightened(64, 40)
                height: width
                name: "com.corvane.Lumetra"
            }
            Text {
                id: heading
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                text: view.presenter ? view.presenter.title : ""
                color: Theme.primary
                font.pixelSize: 22
                font.weight: Font.Bold
                wrapMode: Text.Wrap
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Loader {
                id: form
                width: parent.width
                sourceComponent: view.phase === "email" ? emailForm : view.phase === "code" ? codeForm : view.phase === "noAccount" ? noAccountMessage : null
            }
            Text {
                id: failure
                visible: text !== ""
                width: parent.width
                text: view.presenter ? view.presenter.errorMessage : ""
                textFormat: Text.PlainText
                color: Theme.red
                font.pixelSize: 12
                wrapMode: Text.Wrap
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }
        }
    }

    Component {
        id: emailForm

        Column {
            spacing: 10

            Text {
                text: "Email address"
                color: Theme.primary
                font.pixelSize: 14
                font.weight: Font.DemiBold
            }
            AuthField {
                width: parent.width
                label: "Email address"
                placeholderText: "Enter your email address"
                font.pixelSize: 14
                topPadding: 12
                bottomPadding: 12
                text: view.presenter.email
                busy: view.presenter.isBusy
                onTextEdited: view.presenter.email = text
                onAccepted: view.presenter.submit()
                Component.onCompleted: forceActiveFocus()
            }
            Item {
                width: 1
                height: 8
            }
            BarButton {
                width: parent.width
                text: "Continue"
                symbol: "arrowtriangle.right.fill"
                busy: view.presenter.isBusy
                enabled: view.presenter.canContinue
                onClicked: view.presenter.submit()
            }
            SpokenText {
                visible: text !== ""
                width: parent.width
                topPadding: 8
                horizontalAlignment: Text.AlignHCenter
                text: view.presenter.keyringNote
                color: Theme.secondary
                font.pixelSize: 12
                wrapMode: Text.Wrap
            }
            LinkButton {
                visible: view.presenter.keyringNote !== "" && !view.presenter.isUnlocking
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Unlock keyring"
                onClicked: view.presenter.unlockKeyring()
            }
        }
    }

    Component {
        id: codeForm

        Column {
            spacing: 10

            Text {
                text: "6-digit code"
                color: Theme.primary
                font.pixelSize: 14
                font.weight: Font.DemiBold
            }
            SpokenText {
                width: parent.width
                text: view.presenter.sentTo
                elide: Text.ElideMiddle
                color: Theme.secondary
                font.pixelSize: 12
            }
            AuthField {
                id: codeField
                width: parent.width
                label: "6-digit code"
                placeholderText: "123456"
                font.pixelSize: 22
                font.weight: Font.DemiBold
                font.letterSpacing: 6
                topPadding: 14
                bottomPadding: 14
                text: view.presenter.code
                busy: view.presenter.isBusy
                inputMethodHints: Qt.ImhDigitsOnly
                onTextEdited: {
                    const cursor = view.presenter.codeCursor(text, cursorPosition);
                    view.presenter.code = text;
                    text = Qt.binding(() => view.presenter ? view.presenter.code : "");
                    cursorPosition = cursor;
                }
                onAccepted: view.presenter.submit()
                Component.onCompleted: forceActiveFocus()
            }
            Item {
                width: 1
                height: 8
            }
            BarButton {
                width: parent.width
                text: "Continue"
                symbol: "arrowtriangle.right.fill"
                busy: view.presenter.isBusy
                enabled: view.presenter.canContinue
                onClicked: view.presenter.submit()
            }
            LinkButton {
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Use a different email"
                onClicked: view.presenter.resetToEmail()
            }
        }
    }

    Component {
        id: noAccountMessage

        Column {
            spacing: 18

            SpokenText {
                width: parent.width
                horizontalAlignment: Text.AlignHCenter
                text: view.presenter.noAccountText
                textFormat: Text.StyledText
                Accessible.name: view.presenter.noAccountSpoken
                color: Theme.secondary
                font.pixelSize: 14
                wrapMode: Text.Wrap
            }
            BarButton {
                width: parent.width
                text: "Open Corvane Platform"
                symbol: "arrow.up.right.square"
                symbolSize: 12
                onClicked: view.presenter.openPlatform()
                Component.onCompleted: forceActiveFocus(Qt.TabFocusReason)
            }
            LinkButton {
                anchors.horizontalCenter: parent.horizontalCenter
                text: "Try a different email"
                onClicked: view.presenter.resetToEmail()
            }
        }
    }
}
