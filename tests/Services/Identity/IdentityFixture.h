#pragma once

#include "Services/ClerkAuthService.h"
#include "Services/ClerkClient.h"
#include "Services/KeychainService.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/FakeHttpClient.h"
#include "tests/Support/MemorySecretStore.h"
#include "tests/Support/WaitFor.h"

namespace corvane {

// Both encode the host "a.example".
inline const QString developmentKey = QStringLiteral("pk_test_YS5leGFtcGxlJA==");
inline const QString productionKey = QStringLiteral("pk_live_YS5leGFtcGxlJA==");
inline const QString devBrowserItem = QStringLiteral("clerk_dev_browser_jwt");

// An unsigned session JWT that expires at `now` plus `left`; `name` tells one from another.
inline QByteArray sessionJWT(const platform::Clock& clock, std::chrono::seconds left,
                             const QByteArray& name = {}) {
    const auto expiry = clock.nowMilliseconds() / 1000 + left.count();
    const auto payload = "{\"exp\":" + QByteArray::number(expiry) + ",\"n\":\"" + name + "\"}";
    return "e30." + payload.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals) + ".sig";
}

inline QByteArray tokenBody(const QByteArray& jwt) {
    return "{\"jwt\":\"" + jwt + "\"}";
}

// The sign-in service's answers to an address and to the right code.
inline const QByteArray emailCodeOffer =
    R"({"response":{"id":"sia_1","status":"needs_first_factor",)"
    R"("supported_first_factors":[{"strategy":"x"},{"strategy":"email_code"}]}})";
inline const QByteArray acceptedCode =
    R"({"response":{"id":"sia_1","status":"complete","created_session_id":"sess_1"}})";

// It refuses with the text "First."; the code is that of the second reason.
inline QByteArray refusalFor(const QByteArray& code) {
    return R"({"errors":[{"code":"x","message":"First."},{"code":")" + code + R"(","message":"Second."}]})";
}

// The sign-in service's client on a scripted network and a store in memory.
struct IdentityFixture {
    FakeClock clock;
    FakeHttpClient http;
    MemorySecretStore store;
    KeychainService keychain{QStringLiteral("com.corvane.interview-assistant"), store};
    URLSessionClerkExecutor executor{http};
    std::unique_ptr<ClerkClient> client;
    std::unique_ptr<ClerkAuthService> auth;

    explicit IdentityFixture(const QString& publishableKey = productionKey) { launch(publishableKey); }

    // As a new start of the program does, on what is stored.
    void launch(const QString& publishableKey = productionKey) {
        auth.reset();
        client = std::make_unique<ClerkClient>(
            ClerkConfig(publishableKey), executor,
            ClerkClient::DevBrowserStorage{
                [this] { return keychain.get(devBrowserItem); },
                [this](const platform::Secret& token) { keychain.save(devBrowserItem, token); },
                [this] { keychain.remove(devBrowserItem); }});
        auth = std::make_unique<ClerkAuthService>(*client, keychain, clock);
    }

    void put(const char* item, const QByteArray& value) {
        store.items.insert({keychain.serviceName(), QString::fromLatin1(item)}, value);
    }

    // The stored items but the dev-browser token, as "name=value", sorted.
    QStringList stored() const {
        QStringList result;
        for (auto item = store.items.cbegin(); item != store.items.cend(); ++item) {
            if (item.key().second != devBrowserItem) {
                result.append(item.key().second + u'=' + QString::fromUtf8(item.value()));
            }
        }
        return result;
    }

    // Signed in from the start.
    void launchSignedIn(const QString& publishableKey = productionKey) {
        put("clerk_client_token", "ct");
        put("clerk_session_id", "sess_1");
        put("clerk_user_email", "a@b.c");
        launch(publishableKey);
    }
};

struct SignedInFixture : IdentityFixture {
    SignedInFixture() { launchSignedIn(); }
};

// The text of what the task threw; empty when it threw nothing.
template<typename T>
QString failureOf(QCoro::Task<T> task) {
    try {
        ::waitFor(std::move(task));
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    return {};
}

} // namespace corvane
