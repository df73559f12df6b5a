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

// Signs the user in by e-mail address and code, stores the identity, and is the only source of bearer tokens.
// Main thread.
class ClerkAuthService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isSignedIn READ isSignedIn NOTIFY stateChanged)

public:
    // The identity of a signed-in user.
    struct SignedIn {
        QString email;
        QString sessionId;
        bool operator==(const SignedIn&) const = default;
    };
    using State = std::optional<SignedIn>;
    static constexpr auto signedOut = std::nullopt;
    static State signedIn(QString email, QString sessionId) {
        return SignedIn{std::move(email), std::move(sessionId)};
    }

    class Error : public std::runtime_error {
    public:
        enum Kind { notSignedIn, emailCodeNotSupported, signInDidNotComplete };
        explicit Error(Kind kind);
        Kind kind() const { return m_kind; }

    private:
        Kind m_kind;
    };

    // Whether it makes sense to ask for a token again.
    enum class TokenFailure {
        refused,     // nobody is signed in, or the service refused
        unavailable, // the network or the service failed
    };
    // Whether the stored identity can be read.
    enum class StoreState {
        readable,
        locked,
        unlocking, // the desktop is asking the user
    };

    // Returns the kind of an exception that getFreshJWT() threw.
    static TokenFailure tokenFailure(const std::exception_ptr& error);

    // Restores the signed-in state from the secret store, and once more when a locked store is unlocked.
    ClerkAuthService(ClerkClient& client, KeychainService& keychain, const platform::Clock& clock);

    // Returns the names of the secret store's items that hold the identity.
    static QStringList storedItems();

    const State& state() const { return m_state; }
    bool isSignedIn() const { return m_state.has_value(); }
    const std::optional<QString>& pendingSignInId() const { return m_pendingSignInId; }
    const std::optional<QString>& pendingEmail() const { return m_pendingEmail; }

    // Both throw Error, ClerkAPIError, ClerkClient::Error or platform::HttpError.
    QCoro::Task<void> startSignIn(QString email);
    QCoro::Task<void> verifyCode(platform::Secret code);
    // Returns a session JWT that is valid for at least another 15 s. It asks the service only when the cached
    // one is not. Throws what startSignIn() throws.
    QCoro::Task<platform::Secret> getFreshJWT();
    // Signs out in every case, also without a network. Never throws.
    QCoro::Task<void> signOut();
    void invalidateCachedJWT();

    // Returns, while signed out, whether an identity may be in a locked store.
    StoreState storeState() const { return m_storeState; }
    // Makes the desktop ask the user, once, to unlock the store.
    void unlockStore();

Q_SIGNALS:
    void stateChanged();
    void pendingSignInIdChanged();
    void pendingEmailChanged();
    // The secret store can be read again, and the identity in it has been restored.
    void storeUnlocked();
    void storeStateChanged();

private:
    // Whether a sign-in is waiting for the service's first answer. If the store is unlocked in the meantime,
    // the identity that the sign-in is about to replace must not be restored, unless the sign-in fails.
    enum class Starting { no, yes, unlockedMeanwhile };

    void followUnlocking();
    void finishStarting();
    void restoreFromKeychain();
    void setStoreState(StoreState state);
    void keepClientToken(const platform::Secret& token);
    // Deletes the stored identity and forgets the tokens. Operations that began earlier no longer take
    // effect.
    void forgetIdentity();
    void setIdentity(State state, std::optional<QString> pendingSignInId,
                     std::optional<QString> pendingEmail);

    ClerkClient& m_client;
    KeychainService& m_keychain;
    const platform::Clock& m_clock;
    State m_state;
    std::optional<QString> m_pendingSignInId;
    std::optional<QString> m_pendingEmail;
    // The token as it is stored or is going to be: a store that is locked later must not end the session.
    std::optional<platform::Secret> m_clientToken;
    // It is never stored.
    std::optional<platform::Secret> m_cachedJWT;
    Starting m_starting = Starting::no;
    StoreState m_storeState = StoreState::readable;
    // The operations of the sign-in under way and those of the present identity.
    platform::OperationScope m_signIn;
    platform::OperationScope m_identity;
    platform::OperationScope m_lifetime;
};

} // namespace corvane
