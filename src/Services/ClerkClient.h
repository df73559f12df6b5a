#pragma once

#include "Models/ClerkModels.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Core/Secret.h"
#include "Platform/Network/HttpClient.h"
#include "Services/ClerkConfig.h"

#include <functional>

namespace corvane {

// The network access of ClerkClient.
class ClerkHTTPExecutor {
public:
    virtual ~ClerkHTTPExecutor() = default;

    // Throws platform::HttpError, or ClerkClient::Error for an answer that is not HTTP.
    virtual QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) = 0;
};

class URLSessionClerkExecutor : public ClerkHTTPExecutor {
public:
    // `session` has to be of the ephemeral kind, which sends the Cookie header as the client wrote it and
    // keeps no cookies.
    explicit URLSessionClerkExecutor(platform::HttpClient& session)
        : m_session(session) {}

    QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) override;

private:
    platform::HttpClient& m_session;
};

struct ClerkSignInResult {
    ClerkSignIn signIn;
    std::optional<platform::Secret> clientToken;
};

// The HTTP client of the sign-in service's frontend API. It holds the dev-browser token; the caller holds the
// client token. It neither retries nor logs anything. Main thread.
class ClerkClient {
public:
    class Error : public std::runtime_error {
    public:
        enum Kind { decoding, http, invalidResponse };

        // An error of the kind decoding.
        explicit Error(std::exception_ptr underlying);
        // An error of the kind http: an error response whose body is not a ClerkAPIError.
        Error(int status, QByteArray body);
        // An error of the kind invalidResponse: the answer is not HTTP, or has no dev-browser token.
        explicit Error(Kind kind);

        Kind kind() const { return m_kind; }
        const std::exception_ptr& underlying() const { return m_underlying; }
        int status() const { return m_status; }
        const QByteArray& body() const { return m_body; }

    private:
        Kind m_kind;
        std::exception_ptr m_underlying;
        int m_status = 0;
        QByteArray m_body;
    };

    // Stores the dev-browser token across restarts of the program.
    struct DevBrowserStorage {
        std::function<std::optional<platform::Secret>()> load;
        std::function<void(const platform::Secret&)> save;
        std::function<void()> clear;

        // Returns a storage that keeps nothing.
        static DevBrowserStorage inMemory();
    };

    ClerkClient(ClerkConfig config, ClerkHTTPExecutor& executor, DevBrowserStorage devBrowserStorage);

    // These operations first obtain a dev-browser token where the instance needs one. They throw
    // ClerkAPIError, Error, platform::HttpError, or json::DecodingError when the answer to a dev-browser
    // request is not JSON.

    // Makes the service send the code by e-mail. The result has the client token of the answer, if there is
    // one.
    QCoro::Task<ClerkSignInResult> createSignIn(QString email);
    // The result has the client token of the answer, or else the one that was passed in.
    QCoro::Task<ClerkSignInResult> prepareFirstFactor(QString signInId, QString emailAddressId,
                                                      std::optional<platform::Secret> clientToken);
    QCoro::Task<ClerkSignInResult> attemptFirstFactor(QString signInId, platform::Secret code,
                                                      std::optional<platform::Secret> clientToken);
    // Returns a session JWT.
    QCoro::Task<platform::Secret> createSessionToken(QString sessionId,
                                                     std::optional<platform::Secret> clientToken);
    QCoro::Task<void> signOut(QString sessionId, std::optional<platform::Secret> clientToken);

    void clearDevBrowserToken();

private:
    using FormFields = QList<std::pair<QByteArray, platform::Secret>>;

    QCoro::Task<void> ensureDevBrowser();
    platform::HttpRequest makeRequest(const QByteArray& encodedPath, const QByteArray& method,
                                      const QByteArray& body,
                                      const std::optional<platform::Secret>& clientToken) const;
    // Returns the response if its status is a success, and throws otherwise.
    QCoro::Task<platform::HttpResponse> post(QByteArray encodedPath, FormFields form,
                                             std::optional<platform::Secret> clientToken);
    QCoro::Task<ClerkSignInResult> postFactor(QString signInId, QByteArray action, FormFields form,
                                              std::optional<platform::Secret> clientToken);
    QCoro::Task<ClerkSignInResult> postSignIn(QByteArray encodedPath, FormFields form,
                                              std::optional<platform::Secret> clientToken);

    ClerkConfig m_config;
    ClerkHTTPExecutor& m_executor;
    DevBrowserStorage m_storage;
    std::optional<platform::Secret> m_devBrowserToken;
    platform::OperationScope m_operations;
};

} // namespace corvane
