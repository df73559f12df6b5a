#include "Services/ClerkAuthService.h"

#include "Platform/Core/Log.h"
#include "Services/ClerkClient.h"
#include "Services/KeychainService.h"
#include "Utilities/JWT.h"

#include <QScopeGuard>

#include <array>

namespace corvane {

using platform::Secret;

namespace {

constexpr std::array kindTexts{
    "You are not signed in. Sign in at the dashboard.",
    "This account cannot sign in with an e-mail code. Allow that on the Corvane Platform, or use another "
    "address.",
    "The sign-in did not complete. Go back to the address and ask for a new code.",
};

// Error codes that mean that the service still takes this device for another user's.
constexpr std::array staleIdentityCodes{
    QLatin1String("session_exists"),
    QLatin1String("identifier_already_signed_in"),
    QLatin1String("client_state_invalid"),
};

constexpr auto retryLine =
    "[ClerkAuth] session_exists on createSignIn — clearing dev-browser token and retrying once";

constexpr int requestTimeoutStatus = 408;
constexpr int tooManyRequestsStatus = 429;
constexpr int firstClientErrorStatus = 400;
constexpr int firstServerErrorStatus = 500;

// A JWT that is valid for less than this is replaced.
constexpr double safetyMarginSeconds = 15;

const QString clientTokenItem = QStringLiteral("clerk_client_token");
const QString sessionIdItem = QStringLiteral("clerk_session_id");
const QString userEmailItem = QStringLiteral("clerk_user_email");

bool isStaleIdentity(const ClerkAPIError& error) {
    return std::ranges::any_of(staleIdentityCodes, [&](QLatin1String code) { return error.hasCode(code); });
}

bool offersEmailCode(const ClerkSignIn& signIn) {
    return signIn.supportedFirstFactors &&
           std::ranges::any_of(*signIn.supportedFirstFactors, [](const ClerkSupportedFirstFactor& factor) {
               return factor.strategy == QLatin1String("email_code");
           });
}

// Returns whether the service refused the request, as opposed to having trouble of its own.
bool isRefusal(int status) {
    return status >= firstClientErrorStatus && status < firstServerErrorStatus &&
           status != requestTimeoutStatus && status != tooManyRequestsStatus;
}

bool isGood(const Secret& jwt, platform::WallTime now) {
    try {
        return !JWT::needsRefresh(jwt, safetyMarginSeconds, now);
    } catch (const JWT::Error&) {
        return false;
    }
}

} // namespace

ClerkAuthService::Error::Error(Kind kind)
    : std::runtime_error(kindTexts[kind])
    , m_kind(kind) {}

ClerkAuthService::ClerkAuthService(ClerkClient& client, KeychainService& keychain,
                                   const platform::Clock& clock)
    : m_client(client)
    , m_keychain(keychain)
    , m_clock(clock) {
    connect(&m_keychain, &KeychainService::unlocked, this, &ClerkAuthService::followUnlocking);
    connect(&m_keychain, &KeychainService::unlockingEnded, this, [this] {
        if (m_storeState == StoreState::unlocking) {
            setStoreState(StoreState::locked);
        }
    });
    restoreFromKeychain();
}

ClerkAuthService::TokenFailure ClerkAuthService::tokenFailure(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const Error&) {
        return TokenFailure::refused;
    } catch (const ClerkAPIError& refusal) {
        return isRefusal(refusal.status()) ? TokenFailure::refused : TokenFailure::unavailable;
    } catch (const ClerkClient::Error& failure) {
        return isRefusal(failure.status()) ? TokenFailure::refused : TokenFailure::unavailable;
    } catch (...) {
        return TokenFailure::unavailable;
    }
}

QStringList ClerkAuthService::storedItems() {
    return {sessionIdItem, userEmailItem, clientTokenItem};
}

void ClerkAuthService::followUnlocking() {
    if (m_starting != Starting::no) {
        m_starting = Starting::unlockedMeanwhile;
    } else if (!m_state && !m_pendingSignInId) {
        restoreFromKeychain();
    }
    Q_EMIT storeUnlocked();
}

void ClerkAuthService::finishStarting() {
    const auto was = std::exchange(m_starting, Starting::no);
    if (was == Starting::unlockedMeanwhile && !m_state && !m_pendingSignInId) {
        restoreFromKeychain();
    }
}

void ClerkAuthService::restoreFromKeychain() {
    const auto sessionId = m_keychain.get(sessionIdItem);
    const auto email = m_keychain.get(userEmailItem);
    const auto token = m_keychain.get(clientTokenItem);
    if (token && sessionId && email) {
        m_clientToken = token;
        setIdentity(signedIn(email->reveal(), sessionId->reveal()), std::nullopt, std::nullopt);
    }
    const bool isLocked = !m_state && m_keychain.isLocked(sessionIdItem);
    setStoreState(isLocked ? StoreState::locked : StoreState::readable);
}

void ClerkAuthService::setStoreState(StoreState state) {
    if (std::exchange(m_storeState, state) != state) {
        Q_EMIT storeStateChanged();
    }
}

void ClerkAuthService::unlockStore() {
    if (m_storeState == StoreState::locked) {
        setStoreState(StoreState::unlocking);
        m_keychain.unlock();
    }
}

void ClerkAuthService::keepClientToken(const Secret& token) {
    m_clientToken = token;
    m_keychain.save(clientTokenItem, token);
}

void ClerkAuthService::setIdentity(State state, std::optional<QString> pendingSignInId,
                                   std::optional<QString> pendingEmail) {
    const bool stateDiffers = std::exchange(m_state, state) != state;
    const bool idDiffers = std::exchange(m_pendingSignInId, pendingSignInId) != pendingSignInId;
    const bool emailDiffers = std::exchange(m_pendingEmail, pendingEmail) != pendingEmail;
    // A listener may destroy the service.
    const auto ticket = m_lifetime.ticket();
    if (idDiffers) {
        Q_EMIT pendingSignInIdChanged();
    }
    if (ticket.isCurrent() && emailDiffers) {
        Q_EMIT pendingEmailChanged();
    }
    if (ticket.isCurrent() && stateDiffers) {
        Q_EMIT stateChanged();
    }
}

void ClerkAuthService::forgetIdentity() {
    m_identity.cancel();
    m_signIn.cancel();
    for (const auto& item : {clientTokenItem, sessionIdItem, userEmailItem}) {
        m_keychain.remove(item);
    }
    m_clientToken.reset();
    m_cachedJWT.reset();
    setStoreState(StoreState::readable);
    setIdentity(signedOut, std::nullopt, std::nullopt);
}

QCoro::Task<void> ClerkAuthService::startSignIn(QString email) {
    // The later of two sign-ins counts: a code of the earlier one is no longer accepted.
    m_signIn.cancel();
    m_starting = Starting::yes;
    auto ticket = m_signIn.ticket();
    const auto ends = qScopeGuard([this, &ticket] {
        if (ticket.isCurrent()) {
            finishStarting();
        }
    });
    std::optional<ClerkSignInResult> result;
    try {
        auto first = co_await m_client.createSignIn(email);
        result = std::move(first);
    } catch (const ClerkAPIError& error) {
        if (!isStaleIdentity(error)) {
            throw;
        }
    }
    ticket.ensureCurrent();
    if (!result) {
        platform::logLine(QString::fromUtf8(retryLine));
        m_client.clearDevBrowserToken();
        forgetIdentity();
        ticket = m_signIn.ticket();
        auto second = co_await m_client.createSignIn(email);
        result = std::move(second);
        ticket.ensureCurrent();
    }
    if (!offersEmailCode(result->signIn)) {
        throw Error(Error::emailCodeNotSupported);
    }
    if (m_keychain.mayHide(sessionIdItem)) {
        // A session that could not be read must not come back beside the new client token.
        m_keychain.remove(sessionIdItem);
        m_keychain.remove(userEmailItem);
        setStoreState(StoreState::readable);
    }
    keepClientToken(result->clientToken.value_or(Secret()));
    setIdentity(m_state, result->signIn.id, email);
}

QCoro::Task<void> ClerkAuthService::verifyCode(Secret code) {
    if (!m_pendingSignInId || !m_pendingEmail) {
        throw Error(Error::signInDidNotComplete);
    }
    const auto email = *m_pendingEmail;
    const auto ticket = m_signIn.ticket();
    const auto result =
        co_await m_client.attemptFirstFactor(*m_pendingSignInId, std::move(code), m_clientToken);
    ticket.ensureCurrent();
    const auto& sessionId = result.signIn.createdSessionId;
    if (result.signIn.status != ClerkSignInStatus::complete || !sessionId) {
        throw Error(Error::signInDidNotComplete);
    }
    if (result.clientToken) {
        keepClientToken(*result.clientToken);
    }
    m_keychain.save(sessionIdItem, Secret(*sessionId));
    m_keychain.save(userEmailItem, Secret(email));
    // A JWT of an earlier identity, cached or on its way, must not be used for this one.
    m_identity.cancel();
    m_signIn.cancel();
    m_cachedJWT.reset();
    const auto identity = m_identity.ticket();
    setIdentity(signedIn(email, *sessionId), std::nullopt, std::nullopt);
    identity.ensureCurrent();
    try {
        auto jwt = co_await m_client.createSessionToken(*sessionId, m_clientToken);
        identity.ensureCurrent();
        m_cachedJWT = std::move(jwt);
    } catch (const std::exception&) {
        // The user is signed in all the same; the next getFreshJWT() tries again.
    }
}

QCoro::Task<Secret> ClerkAuthService::getFreshJWT() {
    if (!m_state) {
        throw Error(Error::notSignedIn);
    }
    if (m_cachedJWT && isGood(*m_cachedJWT, m_clock.now())) {
        auto cached = *m_cachedJWT;
        co_return cached;
    }
    const auto ticket = m_identity.ticket();
    auto jwt = co_await m_client.createSessionToken(m_state->sessionId, m_clientToken);
    if (!ticket.isCurrent()) {
        throw Error(Error::notSignedIn);
    }
    m_cachedJWT = jwt;
    co_return jwt;
}

QCoro::Task<void> ClerkAuthService::signOut() {
    m_signIn.cancel();
    m_starting = Starting::no;
    const auto ticket = m_identity.ticket();
    if (m_state) {
        try {
            co_await m_client.signOut(m_state->sessionId, m_clientToken);
        } catch (const std::exception&) {
            // The device forgets the session whatever the service says.
        }
    }
    if (!ticket.isCurrent()) {
        // Another sign-out came first, or this object is gone.
        co_return;
    }
    m_client.clearDevBrowserToken();
    forgetIdentity();
}

void ClerkAuthService::invalidateCachedJWT() {
    m_cachedJWT.reset();
}

} // namespace corvane
