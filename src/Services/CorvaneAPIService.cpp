#include "Services/CorvaneAPIService.h"

#include "Services/ClerkAuthService.h"
#include "Utilities/Json.h"

namespace corvane {

namespace {

constexpr auto requestTimeout = std::chrono::seconds(60);
constexpr int unauthorizedStatus = 401;
constexpr int conflictStatus = 409;
constexpr int noHttpStatus = -1;

std::string apiErrorText(APIError::Kind kind, int status) {
    switch (kind) {
    case APIError::httpError:
        return "HTTP error " + std::to_string(status);
    case APIError::invalidConfiguration:
        return "Invalid API configuration";
    case APIError::unauthorized:
        break;
    }
    return "Unauthorized — please sign in again.";
}

bool isSuccess(int status) {
    // A conflict means that the session of this machine exists already.
    return (status >= 200 && status <= 299) || status == conflictStatus;
}

} // namespace

APIError::APIError(Kind kind, int status)
    : std::runtime_error(apiErrorText(kind, status))
    , m_kind(kind)
    , m_status(status) {}

CorvaneAPIService::CorvaneAPIService(QString baseURL, ClerkAuthService* auth, platform::HttpClient& http,
                                     QString machineId)
    : m_baseURL(std::move(baseURL))
    , m_auth(auth)
    , m_http(http)
    , m_machineId(std::move(machineId)) {}

void CorvaneAPIService::setBaseURL(const QString& baseURL) {
    if (m_baseURL != baseURL) {
        m_baseURL = baseURL;
        Q_EMIT baseURLChanged();
    }
}

QCoro::Task<void> CorvaneAPIService::ensureMachineSession(QString baseURL) {
    const auto ticket = m_scope.ticket();
    const auto body = json::serialize(
        boost::json::object{{"session_id", json::toJson(getMachineId())},
                            {"metadata", {{"client", "corvane-interview-assistant-native"}}}});
    auto status = co_await attempt(baseURL, body);
    if (status == unauthorizedStatus) {
        ticket.ensureCurrent();
        if (m_auth) {
            m_auth->invalidateCachedJWT();
        }
        status = co_await attempt(baseURL, body);
        if (status == unauthorizedStatus) {
            throw APIError(APIError::unauthorized);
        }
    }
    if (!isSuccess(status)) {
        throw APIError(APIError::httpError, status);
    }
}

QCoro::Task<int> CorvaneAPIService::attempt(QString baseURL, QByteArray body) {
    const auto ticket = m_scope.ticket();
    auto request = co_await makeRequest(baseURL, QStringLiteral("/api/interview-sessions"), "POST",
                                        std::move(body), "application/json");
    ticket.ensureCurrent();
    try {
        const auto response = co_await m_http.execute(std::move(request));
        const auto status = response.status;
        co_return status;
    } catch (const platform::HttpError& error) {
        if (error.kind() == platform::HttpError::Kind::notHttp) {
            throw APIError(APIError::httpError, noHttpStatus);
        }
        throw;
    }
}

QCoro::Task<platform::HttpRequest> CorvaneAPIService::makeRequest(QString baseURL, QString path,
                                                                  QByteArray method, QByteArray body,
                                                                  QByteArray contentType) {
    const QUrl url(baseURL + path, QUrl::StrictMode);
    const bool isWeb = url.scheme() == QLatin1String("https") || url.scheme() == QLatin1String("http");
    if (baseURL.isEmpty() || !url.isValid() || !isWeb || url.host().isEmpty()) {
        throw APIError(APIError::invalidConfiguration);
    }
    if (!m_auth) {
        throw ClerkAuthService::Error(ClerkAuthService::Error::notSignedIn);
    }
    platform::HttpRequest request;
    request.method = std::move(method);
    request.url = url;
    request.timeout = requestTimeout;
    const auto token = co_await m_auth->getFreshJWT();
    request.headers.append({"Authorization", "Bearer " + token.reveal().toUtf8()});
    if (!contentType.isEmpty()) {
        request.headers.append({"Content-Type", contentType});
    }
    request.body = std::move(body);
    co_return request;
}

} // namespace corvane
