#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace corvane {

class ClerkAuthService;

// Shows who is signed in, and signs out. Main thread.
class AccountPresenter : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("handed to the account page")
    Q_PROPERTY(QString email READ email NOTIFY changed)
    Q_PROPERTY(bool isSigningOut READ isSigningOut NOTIFY changed)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY changed)

public:
    explicit AccountPresenter(ClerkAuthService& auth);

    QString email() const;
    bool isSigningOut() const { return m_isSigningOut; }
    QString errorMessage() const { return m_errorMessage; }

    Q_INVOKABLE void signOut();

Q_SIGNALS:
    void changed();

private:
    QCoro::Task<void> runSignOut();

    ClerkAuthService& m_auth;
    bool m_isSigningOut = false;
    QString m_errorMessage;
    platform::OperationScope m_operations;
};

} // namespace corvane
