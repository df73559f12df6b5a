#include "Platform/Network/HttpExchange.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Network/HttpErrors.h"
#include "Platform/Network/NetworkText.h"
#include "Platform/Network/ProxyLookup.h"
#include "Platform/Network/TlsRoots.h"

#include <QCoreApplication>
#include <QNetworkCookieJar>
#include <QNetworkProxyFactory>

#include <algorithm>
#include <utility>

namespace platform {

namespace {

// Limits how often a body that arrives in thousands of pieces a second wakes its reader.
constexpr auto deliveryInterval = std::chrono::milliseconds(10);

// The proxies that the system named for this request; the list that Qt keeps for the application may be hours
// old.
class KnownProxies : public QNetworkProxyFactory {
public:
    explicit KnownProxies(QList<QNetworkProxy> proxies)
        : m_proxies(std::move(proxies)) {}

    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery&) override { return m_proxies; }

private:
    QList<QNetworkProxy> m_proxies;
};

// A body that can be read only once. Otherwise Qt would send the request again, up to three times, if the
// connection ended before a response, and the server may have acted on each.
class SingleReadBody : public QIODevice {
public:
    SingleReadBody(QByteArray bytes, QObject* parent)
        : QIODevice(parent)
        , m_bytes(std::move(bytes)) {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    bool isSequential() const override { return true; }
    bool seek(qint64) override { return false; } // Qt would rewind the body to send it again
    bool atEnd() const override { return m_position == m_bytes.size(); }
    qint64 bytesAvailable() const override { return m_bytes.size() - m_position; }

protected:
    qint64 readData(char* data, qint64 size) override {
        if (atEnd()) {
            return -1;
        }
        const auto count = std::min(size, bytesAvailable());
        std::copy_n(m_bytes.constData() + m_position, count, data);
        m_position += count;
        return count;
    }
    qint64 writeData(const char*, qint64) override { return -1; }

private:
    QByteArray m_bytes;
    qint64 m_position = 0;
};

QByteArray userAgent() {
    const auto name = QCoreApplication::applicationName();
    const auto version = QCoreApplication::applicationVersion();
    return (version.isEmpty() ? name : name + u'/' + version).toUtf8();
}

// Qt joins repeated Set-Cookie headers with a line break, which no header value can contain.
QList<HttpHeader> wireHeaders(const QNetworkReply& reply) {
    QList<HttpHeader> headers;
    for (const auto& [name, value] : reply.rawHeaderPairs()) {
        for (const auto& line : value.split('\n')) {
            headers.append({name, line});
        }
    }
    return headers;
}

} // namespace

HttpExchange::HttpExchange(HttpRequest request, HttpClient::BodySink sink, QNetworkCookieJar* cookies,
                           QObject* parent)
    : QObject(parent)
    , m_request(std::move(request))
    , m_sink(std::move(sink)) {
    start(cookies);
}

HttpExchange::~HttpExchange() {
    m_sink = nullptr;
    settle([](const auto& completion) { completion.fail(OperationCancelled()); });
}

void HttpExchange::settle(std::function<void(const Completion<HttpResponse>&)> outcome) {
    if (std::exchange(m_settled, true)) {
        return;
    }
    m_scope.cancel();
    m_deadline.stop();
    m_delivery.stop();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->abort();
    }
    dispatchToMain([completion = m_completion, outcome = std::move(outcome), sink = m_sink, rest = m_body] {
        if (sink && !rest.isEmpty()) {
            sink(rest);
        }
        outcome(completion);
    });
    deleteLater();
}

QNetworkRequest HttpExchange::networkRequest(bool withCookies) const {
    auto url = m_request.url;
    url.setUserInfo({}); // Qt would send it to any server that asks for a password
    QNetworkRequest request(url);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    const auto cookies = withCookies ? QNetworkRequest::Automatic : QNetworkRequest::Manual;
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, cookies);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, cookies);
    request.setSslConfiguration(tlsRoots::qtConfiguration());
    // Uncompressed, so that the limit on the body applies to the bytes that were sent.
    request.setRawHeader("Accept-Encoding", "identity");
    request.setRawHeader("Connection", "close");
    if (const auto agent = userAgent(); !agent.isEmpty()) {
        request.setRawHeader("User-Agent", agent);
    }
    for (const auto& header : m_request.headers) {
        request.setRawHeader(header.name, header.value);
    }
    return request;
}

// Always a custom verb: Qt's own POST adds a Content-Type, and sends the query as a body if there is none.
QNetworkReply* HttpExchange::send(bool withCookies) {
    const auto verb = m_request.method.toUpper();
    auto request = networkRequest(withCookies);
    if (!m_request.body && verb != "POST" && verb != "PUT" && verb != "PATCH") {
        return m_manager.sendCustomRequest(request, verb);
    }
    const auto body = m_request.body.value_or(QByteArray());
    request.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    request.setHeader(QNetworkRequest::ContentLengthHeader, body.size());
    return m_manager.sendCustomRequest(request, verb, new SingleReadBody(body, &m_manager));
}

QCoro::Task<void> HttpExchange::begin(QPointer<QNetworkCookieJar> cookies) {
    const auto ticket = m_scope.ticket();
    auto lookup = systemProxies(m_request.url);
    const auto proxies = co_await std::move(lookup);
    ticket.ensureCurrent();
    m_proxy = proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
    m_manager.setProxyFactory(new KnownProxies(proxies));
    if (cookies) {
        auto* owner = cookies->parent();
        m_manager.setCookieJar(cookies);
        cookies->setParent(owner); // otherwise the manager would own it
    }
    m_reply = send(!cookies.isNull());
    connect(m_reply, &QNetworkReply::sslErrors, this,
            [this](const QList<QSslError>& errors) { m_sslErrors = errors; });
    connect(m_reply, &QNetworkReply::metaDataChanged, this, &HttpExchange::takeBody);
    connect(m_reply, &QNetworkReply::readyRead, this, &HttpExchange::takeBody);
    connect(m_reply, &QNetworkReply::finished, this, &HttpExchange::finish);
}

void HttpExchange::start(QNetworkCookieJar* cookies) {
    startTask(begin(cookies), "request");

    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        fail(HttpError(HttpError::Kind::timedOut, networkText::timedOut(m_request.url.host())));
    });
    m_deadline.start(m_request.timeout);

    m_delivery.setSingleShot(true);
    m_delivery.setTimerType(Qt::PreciseTimer);
    connect(&m_delivery, &QTimer::timeout, this, &HttpExchange::deliver);
}

void HttpExchange::scheduleDelivery() {
    const std::chrono::milliseconds passed(m_sinceDelivery.isValid() ? m_sinceDelivery.elapsed()
                                                                     : deliveryInterval.count());
    if (!m_delivery.isActive()) {
        m_delivery.start(std::max(deliveryInterval - passed, std::chrono::milliseconds(0)));
    }
}

// Called from the event loop: the sink may destroy the client, which must not happen inside a signal of the
// reply.
void HttpExchange::deliver() {
    m_sinceDelivery.start();
    const auto piece = std::exchange(m_body, {});
    const QPointer<HttpExchange> self(this);
    const auto sink = m_sink;
    if (!sink(piece) && self) {
        settle([answer = response()](const auto& completion) { completion.resolve(answer); });
    }
}

bool HttpExchange::wantsBody() {
    return std::exchange(m_headChecked, true) || !m_request.wantsBody || m_request.wantsBody(response());
}

void HttpExchange::takeBody() {
    if (m_sink) {
        if (!wantsBody()) {
            settle([answer = response()](const auto& completion) { completion.resolve(answer); });
            return;
        }
        m_body += m_reply->readAll();
        m_deadline.start();
        if (!m_body.isEmpty()) {
            scheduleDelivery();
        }
        return;
    }
    const auto announced = m_reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    m_body += m_reply->readAll();
    if (announced > m_request.maxBodyBytes || m_body.size() > m_request.maxBodyBytes) {
        fail(HttpError(HttpError::Kind::tooLarge,
                       networkText::tooLarge(m_request.url.host(), m_request.maxBodyBytes)));
    }
}

HttpResponse HttpExchange::response() const {
    return {.status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
            .url = m_reply->url(),
            .headers = wireHeaders(*m_reply),
            .body = m_sink ? QByteArray() : m_body};
}

void HttpExchange::finish() {
    if (!isServerResponse(*m_reply)) {
        fail(classify(*m_reply, m_sslErrors, m_proxy));
        return;
    }
    takeBody();
    settle([answer = response()](const auto& completion) { completion.resolve(answer); });
}

void HttpExchange::fail(const HttpError& error) {
    settle([error](const auto& completion) { completion.fail(error); });
}

} // namespace platform
