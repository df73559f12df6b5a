#include "Views/Auth/AccountPresenter.h"

#include "Platform/Core/Tasks.h"
#include "Services/ClerkAuthService.h"

namespace corvane {

AccountPresenter::AccountPresenter(ClerkAuthService& auth)
    : m_auth(auth) {
    connect(&auth, &ClerkAuthService::stateChanged, this, &AccountPresenter::changed);
}

QString AccountPresenter::email() const {
    return m_auth.state() && !m_auth.state()->email.isEmpty() ? m_auth.state()->email : QStringLiteral("—");
}

void AccountPresenter::signOut() {
    if (!m_isSigningOut) {
        platform::startTask(runSignOut(), "sign-out");
    }
}

QCoro::Task<void> AccountPresenter::runSignOut() {
    m_isSigningOut = true;
    m_errorMessage.clear();
    Q_EMIT changed();
    const auto ticket = m_operations.ticket();
    const auto failure = co_await platform::catchError(m_auth.signOut());
    ticket.ensureCurrent();
    m_errorMessage = failure.value_or(QString());
    m_isSigningOut = false;
    Q_EMIT changed();
}

} // namespace corvane
