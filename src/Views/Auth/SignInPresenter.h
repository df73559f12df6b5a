#pragma once

#include "ViewModels/SignInViewModel.h"

#include <QtQml/qqmlregistration.h>

namespace platform {
class SystemAccess;
}

namespace corvane {

// The sign-in card: the texts of each of its pages, and what its fields accept. Main thread.
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
    // Sets the code to the first six digits of the text.
    void setCode(const QString& text);
    // Returns the position in the accepted digits that corresponds to `cursor` in `text`.
    Q_INVOKABLE int codeCursor(const QString& text, int cursor) const;
    // Returns a line with the address that the code was sent to.
    QString sentTo() const;
    // Returns styled text with the address in bold.
    QString noAccountText() const;
    // Returns the same text without styles.
    QString noAccountSpoken() const;
    bool isBusy() const { return m_model.isBusy(); }
    // Returns what the user should know about a locked keyring, or an empty text.
    QString keyringNote() const;
    bool isUnlocking() const;
    bool canContinue() const;
    QString errorMessage() const;

    // Submits the page that is shown. Does nothing where that is not possible.
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
