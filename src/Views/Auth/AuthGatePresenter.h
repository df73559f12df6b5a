#pragma once

#include "Views/Auth/AccountPresenter.h"
#include "Views/Auth/SignInPresenter.h"

namespace corvane {

// Decides whether the dashboard or the sign-in card is shown. Main thread.
class AuthGatePresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the dashboard")
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY changed)
    // A new presenter each time the card appears; null while a user is signed in.
    Q_PROPERTY(corvane::SignInPresenter* signIn READ signIn NOTIFY changed)
    Q_PROPERTY(corvane::AccountPresenter* account READ account CONSTANT)

public:
    AuthGatePresenter(ClerkAuthService& auth, platform::SystemAccess& systemAccess,
                      QString platformSignUpURL);

    bool isSignedIn() const;
    SignInPresenter* signIn() const { return m_signIn.get(); }
    AccountPresenter* account() { return &m_account; }

Q_SIGNALS:
    void changed();

private:
    void followState();

    struct DeleteLater {
        void operator()(QObject* object) const { object->deleteLater(); }
    };

    ClerkAuthService& m_auth;
    platform::SystemAccess& m_systemAccess;
    const QString m_platformSignUpURL;
    AccountPresenter m_account;
    // Deleted later, as it is replaced from within its own work.
    std::unique_ptr<SignInPresenter, DeleteLater> m_signIn;
};

} // namespace corvane
