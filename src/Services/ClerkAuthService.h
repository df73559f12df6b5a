#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/Secret.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <optional>
#include <stdexcept>

namespace corvane {

class ClerkClient;
class KeychainService;

// Who is signed in: the flow of e-mail address and code, the stored identity, and the only source of bearer
// tokens. Main thread.
class ClerkAuthService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY stateChanged)

public:
    // signedOut is the empty value.
    struct SignedIn {
        QString email;
        QString sessionId;
        bool operator==(const SignedIn&) const = default;
    };
    using State = std::optional<SignedIn>;

    class Error : public std::runtime_error {
    public:
        enum Kind { notSignedIn, emailCodeNotSupported, signInDidNotComplete };
        explicit Error(Kind kind);
        Kind kind() const { return m_kind; }

    private:
        Kind m_kind;
    };

    // Restores the signed-in state from the secret store, and once more when a locked store is unlocked.
    ClerkAuthService(ClerkClient& client, KeychainService& keychain, const platform::Clock& clock);

    // The stored identity, as the secret store's items.
    static QStringList storedItems();

    const State& state() const { return m_state; }
    bool isSignedIn() const { return m_state.has_value(); }
    const std::optional<QString>& pendingSignInId() const { return m_pendingSignInId; }
    const std::optional<QString>& pendingEmail() const { return m_pendingEmail; }

    // Each throws Error, ClerkAPIError, ClerkClient::Error or platform::HttpError.
    QCoro::Task<void> startSignIn(QString email);
    QCoro::Task<void> verifyCode(platform::Secret code);
    // A session JWT with at least 15 s left.
    QCoro::Task<platform::Secret> getFreshJWT();
    // Ends signed out in every case; never throws.
    QCoro::Task<void> signOut();
    void invalidateCachedJWT();

Q_SIGNALS:
    void stateChanged();
    void pendingSignInIdChanged();
    void pendingEmailChanged();

private:
    class Operation;

    void restoreFromKeychain();
    std::optional<platform::Secret> clientToken() const;
    // Deletes the stored identity and forgets the JWT. Tasks that began before do not take effect any more.
    void forgetIdentity();
    void setIdentity(State state, std::optional<QString> pendingSignInId,
                     std::optional<QString> pendingEmail);

    ClerkClient& m_client;
    KeychainService& m_keychain;
    const platform::Clock& m_clock;
    State m_state;
    std::optional<QString> m_pendingSignInId;
    std::optional<QString> m_pendingEmail;
    // In memory only.
    std::optional<platform::Secret> m_cachedJWT;
    // Raised with every change of identity: what a task of an earlier one brings home is dropped.
    quint64 m_generation = 0;
    int m_startingSignIns = 0;
};

} // namespace corvane
