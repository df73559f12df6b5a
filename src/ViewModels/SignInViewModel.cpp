#include "ViewModels/SignInViewModel.h"

#include "Models/ClerkModels.h"
#include "Platform/Core/Tasks.h"
#include "Services/ClerkAuthService.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array phaseNames{"email", "code", "noAccount"};
constexpr int shortestAddress = 5;
constexpr int codeLength = 6;
constexpr std::array unknownIdentifierCodes{"form_identifier_not_found", "identification_not_found"};

bool isUnknownIdentifier(const ClerkAPIError& error) {
    return std::ranges::any_of(unknownIdentifierCodes,
                               [&](const char* code) { return error.hasCode(QLatin1String(code)); });
}

// Returns the text of a failure, or `fallback` for a refusal without a message.
QString failureText(const std::exception_ptr& failure, const QString& fallback) {
    try {
        std::rethrow_exception(failure);
    } catch (const ClerkAPIError& error) {
        return error.errors().isEmpty() ? fallback : error.errors().first().message;
    } catch (const std::exception& error) {
        return platform::errorText(error);
    }
}

} // namespace

SignInViewModel::SignInViewModel(ClerkAuthService& auth)
    : m_auth(auth) {}

QString SignInViewModel::phaseName() const {
    return QLatin1String(phaseNames[static_cast<size_t>(m_phase.value())]);
}

bool SignInViewModel::emailIsValid() const {
    const auto address = email().trimmed();
    return address.contains(u'@') && address.contains(u'.') && address.size() >= shortestAddress;
}

void SignInViewModel::setErrorMessage(std::optional<QString> message) {
    if (m_errorMessage != message) {
        m_errorMessage = std::move(message);
        Q_EMIT errorMessageChanged();
    }
}

QCoro::Task<void> SignInViewModel::submitEmail() {
    if (m_isBusy) {
        co_return;
    }
    setErrorMessage(std::nullopt);
    if (!emailIsValid()) {
        setErrorMessage(QStringLiteral("Enter a valid email address."));
        co_return;
    }
    m_isBusy = true;
    const auto ticket = m_operations.ticket();
    std::exception_ptr failure;
    bool isUnknown = false;
    try {
        co_await m_auth.startSignIn(email().trimmed());
    } catch (const ClerkAPIError& error) {
        isUnknown = isUnknownIdentifier(error);
        failure = std::current_exception();
    } catch (...) {
        failure = std::current_exception();
    }
    if (!ticket.isCurrent()) {
        co_return;
    }
    if (isUnknown) {
        m_phase = Phase::noAccount;
    } else if (failure) {
        setErrorMessage(failureText(failure, QStringLiteral("Sign-in failed.")));
    } else {
        m_phase = Phase::code;
    }
    m_isBusy = false;
}

QCoro::Task<void> SignInViewModel::submitCode() {
    if (m_isBusy) {
        co_return;
    }
    setErrorMessage(std::nullopt);
    const auto trimmed = code().trimmed();
    bool isNumber = false;
    trimmed.toInt(&isNumber);
    if (trimmed.size() != codeLength || !isNumber) {
        setErrorMessage(QStringLiteral("Enter the 6-digit code from your email."));
        co_return;
    }
    m_isBusy = true;
    const auto ticket = m_operations.ticket();
    std::exception_ptr failure;
    try {
        co_await m_auth.verifyCode(platform::Secret(trimmed));
    } catch (...) {
        failure = std::current_exception();
    }
    if (!ticket.isCurrent()) {
        co_return;
    }
    if (failure) {
        setErrorMessage(failureText(failure, QStringLiteral("Verification failed.")));
    }
    m_isBusy = false;
}

void SignInViewModel::resetToEmail() {
    // A late answer must not be taken for the answer to the next request.
    m_operations.cancel();
    m_isBusy = false;
    m_phase = Phase::email;
    m_code = QString();
    setErrorMessage(std::nullopt);
}

} // namespace corvane
