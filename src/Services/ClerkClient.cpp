#include "Services/ClerkClient.h"

#include "Platform/Core/Tasks.h"
#include "Services/ClientToken.h"

namespace corvane {

using platform::HttpRequest;
using platform::HttpResponse;
using platform::Secret;

namespace {

constexpr auto timeout = std::chrono::seconds(60);

// Escapes everything but ASCII alphanumerics and "-._~", as upper-case hexadecimal UTF-8 bytes.
QByteArray percentEncoded(const QString& text) {
    return QUrl::toPercentEncoding(text);
}

// Encodes an id of the service as one path segment. A segment of one or two dots would change the path,
// escaped or not.
QByteArray pathSegment(const QString& id) {
    if (id == QLatin1String(".") || id == QLatin1String("..")) {
        throw ClerkClient::Error(ClerkClient::Error::invalidResponse);
    }
    return percentEncoded(id);
}

std::pair<QByteArray, Secret> emailCodeStrategy() {
    return {"strategy", Secret(QStringLiteral("email_code"))};
}

QByteArray formEncode(const QList<std::pair<QByteArray, Secret>>& fields) {
    QByteArrayList pairs;
    for (const auto& [key, value] : fields) {
        pairs.append(percentEncoded(QString::fromUtf8(key)) + '=' + percentEncoded(value.reveal()));
    }
    return pairs.join('&');
}

void throwIfError(const HttpResponse& response) {
    if (response.status >= 200 && response.status <= 299) {
        return;
    }
    std::optional<ClerkAPIError> refusal;
    try {
        refusal = ClerkAPIError::fromJson(json::parse(response.body));
    } catch (const json::DecodingError&) {
        throw ClerkClient::Error(response.status, response.body);
    }
    refusal->setStatus(response.status);
    throw std::move(*refusal);
}

template<typename Record>
Record decode(const QByteArray& body) {
    try {
        return Record::fromJson(json::parse(body));
    } catch (const json::DecodingError&) {
        throw ClerkClient::Error(std::current_exception());
    }
}

// A top-level token takes precedence, even one of a wrong type.
Secret parseDevBrowserToken(const QByteArray& body) {
    const auto document = json::parse(body);
    const auto* object = document.if_object();
    const auto* nested =
        object && !object->contains("token") ? json::objectOrNull(*object, "response") : object;
    const auto token = nested ? json::stringOrNullopt(*nested, "token") : std::nullopt;
    if (!token) {
        throw ClerkClient::Error(ClerkClient::Error::invalidResponse);
    }
    return Secret(*token);
}

} // namespace

ClerkClient::Error::Error(std::exception_ptr underlying)
    : std::runtime_error("The sign-in service's response could not be read (" +
                         platform::errorText(underlying).toStdString() + "). Try again in a moment.")
    , m_kind(decoding)
    , m_underlying(std::move(underlying)) {}

ClerkClient::Error::Error(int status, QByteArray body)
    : std::runtime_error("The sign-in service answered with HTTP status " + std::to_string(status) +
                         ". Try again in a moment.")
    , m_kind(http)
    , m_status(status)
    , m_body(std::move(body)) {}

ClerkClient::Error::Error(Kind kind)
    : std::runtime_error("The sign-in service sent an invalid response. Try again in a moment.")
    , m_kind(kind) {}

ClerkClient::DevBrowserStorage ClerkClient::DevBrowserStorage::inMemory() {
    return {[] { return std::nullopt; }, [](const Secret&) {}, [] {}};
}

QCoro::Task<HttpResponse> URLSessionClerkExecutor::execute(HttpRequest request) {
    try {
        auto response = co_await m_session.execute(std::move(request));
        co_return response;
    } catch (const platform::HttpError& error) {
        if (error.kind() == platform::HttpError::Kind::notHttp) {
            throw ClerkClient::Error(ClerkClient::Error::invalidResponse);
        }
        throw;
    }
}

ClerkClient::ClerkClient(ClerkConfig config, ClerkHTTPExecutor& executor, DevBrowserStorage devBrowserStorage)
    : m_config(std::move(config))
    , m_executor(executor)
    , m_storage(std::move(devBrowserStorage))
    , m_devBrowserToken(m_storage.load()) {}

QCoro::Task<ClerkSignInResult> ClerkClient::createSignIn(QString email) {
    return postSignIn("/v1/client/sign_ins", {{"identifier", Secret(email)}, emailCodeStrategy()},
                      std::nullopt);
}

QCoro::Task<ClerkSignInResult> ClerkClient::prepareFirstFactor(QString signInId, QString emailAddressId,
                                                               std::optional<Secret> clientToken) {
    return postFactor(signInId, "/prepare_first_factor",
                      {emailCodeStrategy(), {"email_address_id", Secret(emailAddressId)}},
                      std::move(clientToken));
}

QCoro::Task<ClerkSignInResult> ClerkClient::attemptFirstFactor(QString signInId, Secret code,
                                                               std::optional<Secret> clientToken) {
    return postFactor(signInId, "/attempt_first_factor", {emailCodeStrategy(), {"code", code}},
                      std::move(clientToken));
}

QCoro::Task<ClerkSignInResult> ClerkClient::postFactor(QString signInId, QByteArray action, FormFields form,
                                                       std::optional<Secret> clientToken) {
    const auto path = "/v1/client/sign_ins/" + pathSegment(signInId) + action;
    auto result = co_await postSignIn(path, std::move(form), clientToken);
    if (!result.clientToken) {
        result.clientToken = std::move(clientToken);
    }
    co_return result;
}

QCoro::Task<Secret> ClerkClient::createSessionToken(QString sessionId, std::optional<Secret> clientToken) {
    const auto path = "/v1/client/sessions/" + pathSegment(sessionId) + "/tokens";
    const auto response = co_await post(path, {}, std::move(clientToken));
    co_return decode<ClerkTokenResponse>(response.body).jwt;
}

QCoro::Task<void> ClerkClient::signOut(QString sessionId, std::optional<Secret> clientToken) {
    const auto path = "/v1/client/sessions/" + pathSegment(sessionId) + "/remove";
    co_await post(path, {}, std::move(clientToken));
}

void ClerkClient::clearDevBrowserToken() {
    m_devBrowserToken.reset();
    m_storage.clear();
}

QCoro::Task<void> ClerkClient::ensureDevBrowser() {
    if (!m_config.isDevelopment()) {
        co_return;
    }
    if (!m_devBrowserToken) {
        // The constructor may have found the store locked; it may be readable by now.
        m_devBrowserToken = m_storage.load();
    }
    if (m_devBrowserToken) {
        co_return;
    }
    HttpRequest request;
    request.method = "POST";
    request.url = m_config.frontendAPIURL();
    request.url.setPath(QStringLiteral("/v1/dev_browser"));
    request.headers = {{"Clerk-Publishable-Key", m_config.publishableKey().toUtf8()}};
    request.timeout = timeout;
    const auto ticket = m_operations.ticket();
    const auto response = co_await m_executor.execute(std::move(request));
    ticket.ensureCurrent();
    throwIfError(response);
    m_devBrowserToken = parseDevBrowserToken(response.body);
    m_storage.save(*m_devBrowserToken);
}

HttpRequest ClerkClient::makeRequest(const QByteArray& encodedPath, const QByteArray& method,
                                     const QByteArray& body, const std::optional<Secret>& clientToken) const {
    auto address = m_config.frontendAPIURL().toEncoded() + encodedPath;
    if (m_devBrowserToken) {
        address += "?__clerk_db_jwt=" + percentEncoded(m_devBrowserToken->reveal());
    }
    HttpRequest request;
    request.method = method;
    request.url = QUrl::fromEncoded(address, QUrl::StrictMode);
    request.timeout = timeout;
    request.headers = {{"Clerk-Publishable-Key", m_config.publishableKey().toUtf8()},
                       {"Content-Type", "application/x-www-form-urlencoded"}};
    if (clientToken && !clientToken->isEmpty()) {
        request.headers.append({"Cookie", "__client=" + clientToken->reveal().toUtf8()});
    }
    request.body = body;
    return request;
}

QCoro::Task<HttpResponse> ClerkClient::post(QByteArray encodedPath, FormFields form,
                                            std::optional<Secret> clientToken) {
    const auto ticket = m_operations.ticket();
    co_await ensureDevBrowser();
    ticket.ensureCurrent();
    auto request = makeRequest(encodedPath, "POST", formEncode(form), clientToken);
    auto response = co_await m_executor.execute(std::move(request));
    throwIfError(response);
    co_return response;
}

QCoro::Task<ClerkSignInResult> ClerkClient::postSignIn(QByteArray encodedPath, FormFields form,
                                                       std::optional<Secret> clientToken) {
    const auto response = co_await post(encodedPath, std::move(form), std::move(clientToken));
    auto envelope = decode<ClerkEnvelope<ClerkSignIn>>(response.body);
    co_return ClerkSignInResult{std::move(envelope.response), extractClientToken(response)};
}

} // namespace corvane
