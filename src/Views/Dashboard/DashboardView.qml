import QtQuick
import Corvane.Dashboard
import Corvane.Auth
import Corvane.Shared

// The dashboard's root: a sidebar and the page that is open, behind the sign-in card.
Rectangle {
    id: view

    required property DashboardPresenter presenter

    color: Theme.window

    AuthGateView {
        anchors.fill: parent
        presenter: view.presenter.gate

        Item {
            DashboardSidebar {
                id: sidebar
                width: 200
                height: parent.height
                presenter: view.presenter
            }
            Loader {
                id: page
                readonly property var pages: ({
                        setup: setupPage,
                        account: accountPage,
                        settings: settingsPage,
                        audio: audioPage
                    })

                anchors.left: sidebar.right
                anchors.right: parent.right
                height: parent.height
                sourceComponent: pages[view.presenter.pages[view.presenter.selectedPage].view]
            }
        }
    }

    Component {
        id: setupPage
        CorvaneSetupView {
            presenter: view.presenter.setup
        }
    }
    Component {
        id: accountPage
        AccountView {
            presenter: view.presenter.gate.account
        }
    }
    Component {
        id: settingsPage
        AppSettingsView {
            presenter: view.presenter.settings
        }
    }
    Component {
        id: audioPage
        AudioSettingsView {
            presenter: view.presenter.audio
        }
    }
}
