#include "Views/Auth/AuthGatePresenter.h"

#include "Services/ClerkAuthService.h"

namespace corvane {

AuthGatePresenter::AuthGatePresenter(ClerkAuthService& auth, platform::SystemAccess& systemAccess,
                                     QString platformSignUpURL)
    : m_auth(auth)
    , m_systemAccess(systemAccess)
    , m_platformSignUpURL(std::move(platformSignUpURL))
    , m_account(auth) {
    connect(&auth, &ClerkAuthService::stateChanged, this, &AuthGatePresenter::followState);
    followState();
}

bool AuthGatePresenter::isSignedIn() const {
    return m_auth.isSignedIn();
}

void AuthGatePresenter::followState() {
    if (isSignedIn() == !m_signIn) {
        return;
    }
    auto old = std::move(m_signIn);
    if (!isSignedIn()) {
        m_signIn.reset(new SignInPresenter(m_auth, m_systemAccess, m_platformSignUpURL));
    }
    // The view drops the old presenter before it is deleted.
    Q_EMIT changed();
}

} // namespace corvane
