#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
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

    // Whether asking for a token again can help.
    enum class TokenFailure {
        refused,     // nobody is signed in, or the service said no
        unavailable, // the network or the service failed
    };
    // What keeps the stored identity from being read.
    enum class StoreState {
        readable,
        locked,
        unlocking, // the desktop asks the user
    };

    // Of what getFreshJWT() threw.
    static TokenFailure tokenFailure(const std::exception_ptr& error);

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
    // A session JWT with at least 15 s left. Needs the service only when the last one is older.
    QCoro::Task<platform::Secret> getFreshJWT();
    // Ends signed out in every case; never throws.
    QCoro::Task<void> signOut();
    void invalidateCachedJWT();

    // While signed out: whether an identity may lie in a locked store.
    StoreState storeState() const { return m_storeState; }
    // Has the desktop ask the user to unlock it, once.
    void unlockStore();

Q_SIGNALS:
    void stateChanged();
    void pendingSignInIdChanged();
    void pendingEmailChanged();
    // The secret store can be read again, and what it holds has been restored.
    void storeUnlocked();
    void storeStateChanged();

private:
    // Whether a sign-in waits for the service's first answer. An unlocked store must not restore the identity
    // that it is about to replace, unless it fails.
    enum class Starting { no, yes, unlockedMeanwhile };

    void followUnlocking();
    void finishStarting();
    void restoreFromKeychain();
    void setStoreState(StoreState state);
    void keepClientToken(const platform::Secret& token);
    // Deletes the stored identity and forgets the tokens. Operations that began before do not take effect any
    // more.
    void forgetIdentity();
    void setIdentity(State state, std::optional<QString> pendingSignInId,
                     std::optional<QString> pendingEmail);

    ClerkClient& m_client;
    KeychainService& m_keychain;
    const platform::Clock& m_clock;
    State m_state;
    std::optional<QString> m_pendingSignInId;
    std::optional<QString> m_pendingEmail;
    // As it is stored, or will be: a store that locks later must not end the session.
    std::optional<platform::Secret> m_clientToken;
    // In memory only.
    std::optional<platform::Secret> m_cachedJWT;
    Starting m_starting = Starting::no;
    StoreState m_storeState = StoreState::readable;
    // The operations of the sign-in under way, and those of the identity.
    platform::OperationScope m_signIn;
    platform::OperationScope m_identity;
};

} // namespace corvane
