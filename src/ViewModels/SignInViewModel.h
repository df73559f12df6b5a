#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QObject>
#include <QProperty>
#include <QString>

#include <optional>

namespace corvane {

class ClerkAuthService;

// The steps of the sign-in card: an address, then the code sent to it. A failure is shown as a text or as
// another page of the card. Main thread.
class SignInViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString email READ email WRITE setEmail NOTIFY emailChanged)
    Q_PROPERTY(QString code READ code WRITE setCode NOTIFY codeChanged)
    Q_PROPERTY(QString phase READ phaseName NOTIFY phaseChanged)
    Q_PROPERTY(bool isBusy READ isBusy NOTIFY isBusyChanged)
    Q_PROPERTY(QString errorMessage READ errorText NOTIFY errorMessageChanged)

public:
    enum class Phase { email, code, noAccount };

    explicit SignInViewModel(ClerkAuthService& auth);

    QString email() const { return m_email; }
    void setEmail(const QString& email) { m_email = email; }
    QString code() const { return m_code; }
    void setCode(const QString& code) { m_code = code; }
    Phase phase() const { return m_phase; }
    QString phaseName() const;
    bool isBusy() const { return m_isBusy; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorText() const { return m_errorMessage.value_or(QString()); }

    bool emailIsValid() const;
    // Neither throws. A call does nothing while another is under way.
    QCoro::Task<void> submitEmail();
    QCoro::Task<void> submitCode();
    // Goes back to the address, which is kept so that it can be corrected. A request under way is given up.
    void resetToEmail();

Q_SIGNALS:
    void emailChanged();
    void codeChanged();
    void phaseChanged();
    void isBusyChanged();
    void errorMessageChanged();

private:
    void setErrorMessage(std::optional<QString> message);

    using Self = SignInViewModel;
    Q_OBJECT_BINDABLE_PROPERTY(Self, QString, m_email, &Self::emailChanged)
    Q_OBJECT_BINDABLE_PROPERTY(Self, QString, m_code, &Self::codeChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, Phase, m_phase, Phase::email, &Self::phaseChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_isBusy, false, &Self::isBusyChanged)
    std::optional<QString> m_errorMessage;
    ClerkAuthService& m_auth;
    platform::OperationScope m_operations;
};

} // namespace corvane
