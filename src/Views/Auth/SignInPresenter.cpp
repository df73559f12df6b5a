#include "Views/Auth/SignInPresenter.h"

#include "Platform/Core/Tasks.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Services/ClerkAuthService.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array titles{"Continue to Corvane Platform", "Enter verification code", "No account found"};
const auto noAccount =
    QStringLiteral("We couldn't find a Corvane account for%1. Sign up on the Corvane Platform, "
                   "then come back here to sign in.");

// Indexed by ClerkAuthService::StoreState.
constexpr std::array keyringNotes{
    "",
    "Your keyring is locked. If you have signed in before, unlock it to continue without a new code.",
    "Enter the password of your keyring in the window that the desktop shows.",
};

// Returns the digits of a text, at most as many as a code has. Digits of other scripts are converted.
QString codeDigits(QStringView text) {
    QString digits;
    for (const auto sign : text) {
        if (const int value = sign.digitValue(); value >= 0) {
            digits += QChar(u'0' + value);
        }
    }
    digits.truncate(SignInPresenter::codeLength);
    return digits;
}

} // namespace

SignInPresenter::SignInPresenter(ClerkAuthService& auth, platform::SystemAccess& systemAccess,
                                 QString platformSignUpURL)
    : m_auth(auth)
    , m_model(auth)
    , m_systemAccess(systemAccess)
    , m_platformSignUpURL(std::move(platformSignUpURL)) {
    for (const auto signal :
         {&SignInViewModel::emailChanged, &SignInViewModel::codeChanged, &SignInViewModel::phaseChanged,
          &SignInViewModel::isBusyChanged, &SignInViewModel::errorMessageChanged}) {
        connect(&m_model, signal, this, &SignInPresenter::changed);
    }
    for (const auto signal : {&ClerkAuthService::pendingEmailChanged, &ClerkAuthService::storeStateChanged}) {
        connect(&auth, signal, this, &SignInPresenter::changed);
    }
}

QString SignInPresenter::title() const {
    return QLatin1String(titles[static_cast<size_t>(m_model.phase())]);
}

void SignInPresenter::setEmail(const QString& email) {
    if (!isBusy()) {
        m_model.setEmail(email);
    }
}

void SignInPresenter::setCode(const QString& text) {
    const auto digits = isBusy() ? code() : codeDigits(text);
    if (digits != m_model.code()) {
        m_model.setCode(digits);
    } else if (digits != text) {
        // The field shows something other than the model has, so it has to read it again.
        Q_EMIT changed();
    }
}

int SignInPresenter::codeCursor(const QString& text, int cursor) const {
    return static_cast<int>(codeDigits(QStringView(text).first(cursor)).size());
}

QString SignInPresenter::sentTo() const {
    return QStringLiteral("Sent to ") + m_auth.pendingEmail().value_or(email());
}

QString SignInPresenter::keyringNote() const {
    return QLatin1String(keyringNotes[static_cast<size_t>(m_auth.storeState())]);
}

bool SignInPresenter::isUnlocking() const {
    return m_auth.storeState() == ClerkAuthService::StoreState::unlocking;
}

void SignInPresenter::unlockKeyring() {
    m_auth.unlockStore();
}

QString SignInPresenter::noAccountText() const {
    return noAccount.arg("<br><b>" + email().trimmed().toHtmlEscaped() + "</b>");
}

QString SignInPresenter::noAccountSpoken() const {
    return noAccount.arg(u' ' + email().trimmed());
}

bool SignInPresenter::canContinue() const {
    if (isBusy()) {
        return false;
    }
    return m_model.phase() == SignInViewModel::Phase::email ? !email().isEmpty()
                                                            : code().size() == codeLength;
}

void SignInPresenter::submit() {
    if (m_model.phase() == SignInViewModel::Phase::email) {
        platform::startTask(m_model.submitEmail(), "sign-in");
    } else if (m_model.phase() == SignInViewModel::Phase::code) {
        platform::startTask(m_model.submitCode(), "sign-in");
    }
}

QString SignInPresenter::errorMessage() const {
    const bool needsBrowser = m_browserIsMissing && m_model.phase() == SignInViewModel::Phase::noAccount;
    return needsBrowser ? platform::webAdvice(m_platformSignUpURL) : m_model.errorText();
}

void SignInPresenter::openPlatform() {
    m_browserIsMissing = !m_systemAccess.open(m_platformSignUpURL);
    Q_EMIT changed();
}

} // namespace corvane
