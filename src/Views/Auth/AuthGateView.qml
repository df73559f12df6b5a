import QtQuick
import Corvane

// Shows the content while a user is signed in, and the sign-in card otherwise.
Item {
    id: gate

    required property AuthGatePresenter presenter
    default property Component content

    Loader {
        anchors.fill: parent
        active: gate.presenter.isSignedIn
        sourceComponent: gate.content
    }
    Loader {
        anchors.fill: parent
        active: gate.presenter.signIn !== null
        sourceComponent: SignInView {
            presenter: gate.presenter.signIn
        }
    }
}
