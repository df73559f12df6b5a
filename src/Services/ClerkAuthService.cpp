#include "Services/ClerkAuthService.h"

#include "Platform/Core/Completion.h"
#include "Platform/Core/Log.h"
#include "Services/ClerkClient.h"
#include "Services/KeychainService.h"
#include "Utilities/JWT.h"

#include <QPointer>

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

// Refusals that mean that the service still knows this device as somebody's.
constexpr std::array staleIdentityCodes{
    QLatin1String("session_exists"),
    QLatin1String("identifier_already_signed_in"),
    QLatin1String("client_state_invalid"),
};

constexpr auto retryLine =
    "[ClerkAuth] session_exists on createSignIn — clearing dev-browser token and retrying once";

// A JWT with less time left is replaced.
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

bool isGood(const Secret& jwt, platform::WallTime now) {
    try {
        return !JWT::needsRefresh(jwt, safetyMarginSeconds, now);
    } catch (const JWT::Error&) {
        return false;
    }
}

} // namespace

// One operation across its awaits: the service as it was when the operation began.
class ClerkAuthService::Operation {
public:
    explicit Operation(ClerkAuthService& service)
        : m_service(&service)
        , m_generation(service.m_generation) {}

    bool isAlive() const { return m_service; }
    bool isCurrent() const { return m_service && m_service->m_generation == m_generation; }
    // After every await: throws when the service is gone or has signed out since.
    void ensureCurrent(Error::Kind kind) const {
        if (!m_service) {
            throw platform::OperationCancelled();
        }
        if (!isCurrent()) {
            throw Error(kind);
        }
    }

private:
    QPointer<ClerkAuthService> m_service;
    quint64 m_generation;
};

ClerkAuthService::Error::Error(Kind kind)
    : std::runtime_error(kindTexts[kind])
    , m_kind(kind) {}

ClerkAuthService::ClerkAuthService(ClerkClient& client, KeychainService& keychain,
                                   const platform::Clock& clock)
    : m_client(client)
    , m_keychain(keychain)
    , m_clock(clock) {
    connect(&m_keychain, &KeychainService::unlocked, this, [this] {
        if (!m_state && !m_pendingSignInId && m_startingSignIns == 0) {
            restoreFromKeychain();
        }
    });
    restoreFromKeychain();
}

QStringList ClerkAuthService::storedItems() {
    return {sessionIdItem, userEmailItem, clientTokenItem};
}

void ClerkAuthService::restoreFromKeychain() {
    const auto sessionId = m_keychain.get(sessionIdItem);
    const auto email = m_keychain.get(userEmailItem);
    if (m_keychain.get(clientTokenItem) && sessionId && email) {
        setIdentity(SignedIn{email->reveal(), sessionId->reveal()}, std::nullopt, std::nullopt);
    }
}

std::optional<Secret> ClerkAuthService::clientToken() const {
    return m_keychain.get(clientTokenItem);
}

void ClerkAuthService::setIdentity(State state, std::optional<QString> pendingSignInId,
                                   std::optional<QString> pendingEmail) {
    const bool stateDiffers = std::exchange(m_state, state) != state;
    const bool idDiffers = std::exchange(m_pendingSignInId, pendingSignInId) != pendingSignInId;
    const bool emailDiffers = std::exchange(m_pendingEmail, pendingEmail) != pendingEmail;
    const QPointer<ClerkAuthService> self(this);
    if (idDiffers) {
        Q_EMIT pendingSignInIdChanged();
    }
    if (self && emailDiffers) {
        Q_EMIT pendingEmailChanged();
    }
    if (self && stateDiffers) {
        Q_EMIT stateChanged();
    }
}

void ClerkAuthService::forgetIdentity() {
    ++m_generation;
    for (const auto& item : {clientTokenItem, sessionIdItem, userEmailItem}) {
        m_keychain.remove(item);
    }
    m_cachedJWT.reset();
    setIdentity(std::nullopt, std::nullopt, std::nullopt);
}

QCoro::Task<void> ClerkAuthService::startSignIn(QString email) {
    const QPointer<ClerkAuthService> self(this);
    ++m_startingSignIns;
    const auto ends = qScopeGuard([self] {
        if (self) {
            --self->m_startingSignIns;
        }
    });
    Operation operation(*this);
    std::optional<ClerkSignInResult> result;
    try {
        auto first = co_await m_client.createSignIn(email);
        result = std::move(first);
    } catch (const ClerkAPIError& error) {
        if (!isStaleIdentity(error)) {
            throw;
        }
    }
    operation.ensureCurrent(Error::signInDidNotComplete);
    if (!result) {
        platform::logLine(QString::fromUtf8(retryLine));
        m_client.clearDevBrowserToken();
        forgetIdentity();
        operation = Operation(*this);
        auto second = co_await m_client.createSignIn(email);
        result = std::move(second);
        operation.ensureCurrent(Error::signInDidNotComplete);
    }
    if (!offersEmailCode(result->signIn)) {
        throw Error(Error::emailCodeNotSupported);
    }
    if (m_keychain.isLocked(sessionIdItem)) {
        // The session of an identity that nobody could read must not come back beside the new client token.
        m_keychain.remove(sessionIdItem);
        m_keychain.remove(userEmailItem);
    }
    m_keychain.save(clientTokenItem, result->clientToken.value_or(Secret()));
    setIdentity(m_state, result->signIn.id, email);
}

QCoro::Task<void> ClerkAuthService::verifyCode(Secret code) {
    if (!m_pendingSignInId || !m_pendingEmail) {
        throw Error(Error::signInDidNotComplete);
    }
    const auto email = *m_pendingEmail;
    Operation operation(*this);
    const auto result =
        co_await m_client.attemptFirstFactor(*m_pendingSignInId, std::move(code), clientToken());
    operation.ensureCurrent(Error::signInDidNotComplete);
    const auto& sessionId = result.signIn.createdSessionId;
    if (result.signIn.status != ClerkSignInStatus::complete || !sessionId) {
        throw Error(Error::signInDidNotComplete);
    }
    if (result.clientToken) {
        m_keychain.save(clientTokenItem, *result.clientToken);
    }
    m_keychain.save(sessionIdItem, Secret(*sessionId));
    m_keychain.save(userEmailItem, Secret(email));
    // A JWT of an identity before this one, cached or on its way, must not serve it.
    ++m_generation;
    m_cachedJWT.reset();
    operation = Operation(*this);
    setIdentity(SignedIn{email, *sessionId}, std::nullopt, std::nullopt);
    if (!operation.isCurrent()) {
        co_return;
    }
    try {
        auto jwt = co_await m_client.createSessionToken(*sessionId, clientToken());
        if (operation.isCurrent()) {
            m_cachedJWT = std::move(jwt);
        }
    } catch (const std::exception&) {
        // Signed in all the same: the next getFreshJWT() tries again.
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
    const Operation operation(*this);
    auto jwt = co_await m_client.createSessionToken(m_state->sessionId, clientToken());
    operation.ensureCurrent(Error::notSignedIn);
    m_cachedJWT = jwt;
    co_return jwt;
}

QCoro::Task<void> ClerkAuthService::signOut() {
    const QPointer<ClerkAuthService> self(this);
    if (m_state) {
        try {
            co_await m_client.signOut(m_state->sessionId, clientToken());
        } catch (const std::exception&) {
            // The device forgets the session whatever the service says.
        }
    }
    if (!self) {
        co_return;
    }
    m_client.clearDevBrowserToken();
    forgetIdentity();
}

void ClerkAuthService::invalidateCachedJWT() {
    m_cachedJWT.reset();
}

} // namespace corvane
