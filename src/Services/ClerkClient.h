#pragma once

#include "Models/ClerkModels.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Core/Secret.h"
#include "Platform/Network/HttpClient.h"
#include "Services/ClerkConfig.h"

#include <functional>

namespace corvane {

// The client's only contact with the network.
class ClerkHTTPExecutor {
public:
    virtual ~ClerkHTTPExecutor() = default;

    // Throws platform::HttpError, or ClerkClient::Error for an answer that is not HTTP.
    virtual QCoro::Task<platform::HttpResponse> execute(platform::HttpRequest request) = 0;
};

class URLSessionClerkExecutor : public ClerkHTTPExecutor {
public:
    // `session` of the ephemeral kind: the Cookie header is what the client wrote, and nothing is kept.
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

// HTTP client of the sign-in service's frontend API. It holds the dev-browser token; the client token is the
// caller's. It retries nothing and logs nothing. Main thread.
class ClerkClient {
public:
    class Error : public std::runtime_error {
    public:
        enum Kind { decoding, http, invalidResponse };

        // Of decoding.
        explicit Error(std::exception_ptr underlying);
        // Of http: an error answer that is no ClerkAPIError.
        Error(int status, QByteArray body);
        // Of invalidResponse: no HTTP answer, or no dev-browser token in it.
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

    // Where the dev-browser token survives restarts.
    struct DevBrowserStorage {
        std::function<std::optional<platform::Secret>()> load;
        std::function<void(const platform::Secret&)> save;
        std::function<void()> clear;

        // Keeps nothing.
        static DevBrowserStorage inMemory();
    };

    ClerkClient(ClerkConfig config, ClerkHTTPExecutor& executor, DevBrowserStorage devBrowserStorage);

    // Each obtains a dev-browser token first where the instance needs one. Each throws ClerkAPIError, Error,
    // platform::HttpError, or json::DecodingError for a dev-browser answer that is no JSON.

    // Sends the code's e-mail. The result has the token of this answer, if it has one.
    QCoro::Task<ClerkSignInResult> createSignIn(QString email);
    // The result has the token of the answer, or else the one passed in.
    QCoro::Task<ClerkSignInResult> prepareFirstFactor(QString signInId, QString emailAddressId,
                                                      std::optional<platform::Secret> clientToken);
    QCoro::Task<ClerkSignInResult> attemptFirstFactor(QString signInId, platform::Secret code,
                                                      std::optional<platform::Secret> clientToken);
    // A session JWT.
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
    // The answer's body and headers, once its status is a success.
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
