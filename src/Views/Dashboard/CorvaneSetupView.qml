import QtQuick
import Corvane

ScrollPage {
    id: page

    required property CorvaneSetupPresenter presenter

    signal accountRequested

    onAppeared: presenter.appear()

    PageHeading {
        width: parent.width
        title: "Connection"
        text: "Backend URL used for HTTP and WebSocket. Default is production; override for local/UAT."
    }

    Banner {
        width: parent.width
        visible: page.presenter.authError !== ""
        radius: 8
        symbol: "shield.trianglebadge.exclamationmark"
        symbolColor: Theme.orange
        title: "Session Expired"
        text: page.presenter.authError
        fill: Qt.alpha(Theme.orange, 0.1)

        SmallButton {
            text: "Open Account"
            onClicked: page.accountRequested()
        }
    }

    ConnectionStatus {
        width: parent.width
        presenter: page.presenter
    }

    Column {
        width: parent.width
        spacing: 8

        SectionLabel {
            text: "API base URL"
        }
        Row {
            width: parent.width
            spacing: 8

            FormTextField {
                id: field
                width: save.visible ? parent.width - save.width - parent.spacing : parent.width
                label: "API base URL"
                placeholderText: page.presenter.defaultApiUrl
                inputMethodHints: Qt.ImhUrlCharactersOnly | Qt.ImhNoPredictiveText
                text: page.presenter.apiUrl
                onTextEdited: page.presenter.apiUrl = text
                onAccepted: if (page.presenter.urlDirty) page.presenter.saveUrl()
            }
            SmallButton {
                id: save
                height: field.height
                visible: page.presenter.urlDirty
                enabled: !page.presenter.isSavingUrl
                busy: page.presenter.isSavingUrl
                prominent: true
                text: "Save"
                onClicked: {
                    // The button disappears with the change that it saves, so the keyboard moves to the field.
                    field.forceActiveFocus();
                    page.presenter.saveUrl();
                }
            }
        }
        NoteText {
            width: parent.width
            color: Theme.red
            text: page.presenter.urlFault
        }
    }
}
