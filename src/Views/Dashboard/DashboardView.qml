import QtQuick
import Corvane

// The root view of the dashboard: a sidebar and the page that is open, or the sign-in card.
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
                readonly property string wanted: view.presenter.pages[view.presenter.selectedPage].view
                readonly property var files: ({
                        setup: "CorvaneSetupView.qml",
                        account: "../Auth/AccountView.qml",
                        settings: "AppSettingsView.qml",
                        audio: "AudioSettingsView.qml",
                        shortcuts: "ShortcutsView.qml"
                    })
                readonly property var presenters: ({
                        setup: view.presenter.setup,
                        account: view.presenter.gate.account,
                        settings: view.presenter.settings,
                        audio: view.presenter.audio,
                        shortcuts: view.presenter.shortcuts
                    })

                // Loaded by its address, so that pages which are not opened take no time at the start.
                function open() {
                    view.presenter.pageOpens();
                    const position = view.presenter.scrollPosition;
                    setSource(Qt.resolvedUrl(files[wanted]), {presenter: presenters[wanted]});
                    if (position > 0)
                        item.startAt(position);
                }

                anchors.left: sidebar.right
                anchors.right: parent.right
                height: parent.height
                onWantedChanged: open()
                Component.onCompleted: open()

                Connections {
                    target: page.item
                    ignoreUnknownSignals: true
                    function onAccountRequested() {
                        view.presenter.showAccount();
                    }
                    function onScrolled(position: real) {
                        view.presenter.scrollPosition = position;
                    }
                }
            }
        }
    }
}
