#pragma once

#include "ViewModels/SignInViewModel.h"

#include <QtQml/qqmlregistration.h>

namespace platform {
class SystemAccess;
}

namespace corvane {

// The sign-in card: what each of its faces says, and what its fields accept. Main thread.
class SignInPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the sign-in card")
    Q_PROPERTY(QString phase READ phase NOTIFY changed)
    Q_PROPERTY(QString title READ title NOTIFY changed)
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY changed)
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY changed)
    Q_PROPERTY(QString sentTo READ sentTo NOTIFY changed)
    Q_PROPERTY(QString noAccountText READ noAccountText NOTIFY changed)
    Q_PROPERTY(QString noAccountSpoken READ noAccountSpoken NOTIFY changed)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY changed)
    Q_PROPERTY(QString keyringNote READ keyringNote NOTIFY changed)
    Q_PROPERTY(bool isUnlocking READ isUnlocking NOTIFY changed)
    Q_PROPERTY(bool canContinue READ canContinue NOTIFY changed)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY changed)

public:
    static constexpr int codeLength = 6;

    SignInPresenter(ClerkAuthService& auth, platform::SystemAccess& systemAccess, QString platformSignUpURL);

    QString phase() const { return m_model.phaseName(); }
    QString title() const;
    QString email() const { return m_model.email(); }
    void setEmail(const QString& email);
    QString code() const { return m_model.code(); }
    // Keeps the first six digits of what was typed or pasted.
    void setCode(const QString& text);
    // Where the cursor of `text` belongs in what is kept of it.
    Q_INVOKABLE int codeCursor(const QString& text, int cursor) const;
    // With the address that the code went to.
    QString sentTo() const;
    // Styled text, the address in bold.
    QString noAccountText() const;
    // The same without styles.
    QString noAccountSpoken() const;
    bool isBusy() const { return m_model.isBusy(); }
    // What the user should know of a locked keyring; empty when there is nothing to say.
    QString keyringNote() const;
    bool isUnlocking() const;
    bool canContinue() const;
    QString errorMessage() const;

    // The button and the Return key of the face on show. Does nothing where it cannot go on.
    Q_INVOKABLE void submit();
    Q_INVOKABLE void resetToEmail() { m_model.resetToEmail(); }
    Q_INVOKABLE void openPlatform();
    Q_INVOKABLE void unlockKeyring();

Q_SIGNALS:
    void changed();

private:
    ClerkAuthService& m_auth;
    SignInViewModel m_model;
    platform::SystemAccess& m_systemAccess;
    const QString m_platformSignUpURL;
    bool m_browserIsMissing = false;
};

} // namespace corvane
