#include "Platform/Network/HttpExchange.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Network/NetworkText.h"
#include "Platform/Network/ProxyLookup.h"
#include "Platform/Network/WebSocketTask.h"

#include <QCoreApplication>
#include <QNetworkCookie>

#include <algorithm>
#include <utility>

namespace platform {

namespace {

// Limits how often a body that arrives in thousands of pieces a second wakes its reader.
constexpr auto deliveryInterval = std::chrono::milliseconds(10);

QByteArray userAgent() {
    const auto name = QCoreApplication::applicationName();
    const auto version = QCoreApplication::applicationVersion();
    return (version.isEmpty() ? name : name + u'/' + version).toUtf8();
}

bool isNamed(const HttpHeader& header, const QByteArray& name) {
    return header.name.compare(name, Qt::CaseInsensitive) == 0;
}

QByteArray cookieHeader(const QList<QNetworkCookie>& cookies) {
    QByteArrayList pairs;
    for (const auto& cookie : cookies) {
        pairs.append(cookie.toRawForm(QNetworkCookie::NameAndValueOnly));
    }
    return pairs.join("; ");
}

void requireWebAddress(const QUrl& url) {
    const bool isWeb = url.scheme() == QStringLiteral("https") || url.scheme() == QStringLiteral("http");
    if (!isWeb || url.host().isEmpty()) {
        throw WebSocketError(WebSocketError::Kind::cannotConnect,
                             networkText::cannotConnect(
                                 url.host(), QStringLiteral("the address is not that of a web server")));
    }
}

} // namespace

HttpExchange::HttpExchange(NetworkThread& thread, HttpRequest request, HttpClient::BodySink sink,
                           QNetworkCookieJar* cookies, QObject* parent)
    : QObject(parent)
    , m_thread(thread)
    , m_request(std::move(request))
    , m_sink(std::move(sink))
    , m_cookies(cookies) {
    m_request.method = m_request.method.toUpper();
    m_request.url.setUserInfo({}); // no server that asks for a password gets it
    startTimers();
    startTask(begin(), "request");
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
    if (m_conversation) {
        m_conversation->cancel();
    }
    dispatchToMain(
        [completion = m_completion, outcome = std::move(outcome), sink = m_sink, rest = m_answer.body] {
            if (sink && !rest.isEmpty()) {
                sink(rest);
            }
            outcome(completion);
        });
    deleteLater();
}

void HttpExchange::startTimers() {
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this, [this] {
        fail(HttpError(HttpError::Kind::timedOut, networkText::timedOut(m_request.url.host())));
    });
    m_deadline.start(m_request.timeout);

    m_delivery.setSingleShot(true);
    m_delivery.setTimerType(Qt::PreciseTimer);
    connect(&m_delivery, &QTimer::timeout, this, &HttpExchange::deliver);
}

QCoro::Task<void> HttpExchange::begin() {
    const auto ticket = m_scope.ticket();
    auto lookup = systemProxies(m_request.url);
    const auto proxies = co_await std::move(lookup);
    ticket.ensureCurrent();
    try {
        requireWebAddress(m_request.url);
        auto plan = planConnection(m_request.url, proxies);
        const auto bytes = head(plan) + m_request.body.value_or(QByteArray());
        const auto limit = m_sink ? std::nullopt : std::optional(m_request.maxBodyBytes);
        m_conversation =
            HttpConversation::start(m_thread, {std::move(plan), bytes, m_request.method == "HEAD", limit},
                                    {.head = [this](HttpResponse answer) { takeHead(std::move(answer)); },
                                     .piece = [this](const QByteArray& piece) { takePiece(piece); },
                                     .end = [this] { finish(); },
                                     .failed = [this](const HttpError& error) { fail(error); }});
    } catch (const WebSocketError& error) {
        fail(HttpConversation::errorOf(error));
    }
}

QByteArray HttpExchange::head(const ConnectPlan& plan) const {
    const bool isForwarded = plan.proxy == ConnectPlan::Proxy::forwarding;
    const auto target = isForwarded ? "http://" + plan.hostHeader + plan.target : plan.target;
    auto head = m_request.method + ' ' + target + " HTTP/1.1\r\n";
    for (const auto& header : headers(plan)) {
        head += header.name + ": " + header.value + "\r\n";
    }
    return head + "\r\n";
}

// The request's own headers replace those of the same name.
QList<HttpHeader> HttpExchange::headers(const ConnectPlan& plan) const {
    // The body is not compressed, so that the limit on it applies to the bytes that were sent.
    QList<HttpHeader> all{
        {"Host", plan.hostHeader}, {"Connection", "close"}, {"Accept-Encoding", "identity"}};
    if (const auto agent = userAgent(); !agent.isEmpty()) {
        all.append({"User-Agent", agent});
    }
    if (plan.proxy == ConnectPlan::Proxy::forwarding && !plan.proxyCredentials.isEmpty()) {
        all.append({"Proxy-Authorization", "Basic " + plan.proxyCredentials.toBase64()});
    }
    const auto cookies = m_cookies ? cookieHeader(m_cookies->cookiesForUrl(m_request.url)) : QByteArray();
    if (!cookies.isEmpty()) {
        all.append({"Cookie", cookies});
    }
    const auto& method = m_request.method;
    if (m_request.body || method == "POST" || method == "PUT" || method == "PATCH") {
        all.append({"Content-Length", QByteArray::number(m_request.body.value_or(QByteArray()).size())});
    }
    for (const auto& header : m_request.headers) {
        all.removeIf([&](const HttpHeader& other) { return isNamed(other, header.name); });
        all.append(header);
    }
    return all;
}

void HttpExchange::takeHead(HttpResponse answer) {
    m_answer = std::move(answer);
    m_answer.url = m_request.url;
    keepCookies();
    if (m_sink) {
        m_deadline.start();
    }
    if (m_sink && m_request.wantsBody && !m_request.wantsBody(m_answer)) {
        finish();
    } else {
        m_conversation->readOn(0);
    }
}

void HttpExchange::keepCookies() {
    if (!m_cookies) {
        return;
    }
    for (const auto& header : m_answer.headers) {
        if (isNamed(header, "Set-Cookie")) {
            m_cookies->setCookiesFromUrl(QNetworkCookie::parseCookies(header.value), m_answer.url);
        }
    }
}

void HttpExchange::takePiece(const QByteArray& piece) {
    m_answer.body += piece;
    if (m_sink) {
        m_deadline.start();
        scheduleDelivery();
    }
    m_conversation->readOn(piece.size());
}

void HttpExchange::scheduleDelivery() {
    const std::chrono::milliseconds passed(m_sinceDelivery.isValid() ? m_sinceDelivery.elapsed()
                                                                     : deliveryInterval.count());
    if (!m_delivery.isActive()) {
        m_delivery.start(std::max(deliveryInterval - passed, std::chrono::milliseconds(0)));
    }
}

// Called from the event loop: the sink may destroy the client.
void HttpExchange::deliver() {
    m_sinceDelivery.start();
    const auto ticket = m_scope.ticket();
    const auto piece = std::exchange(m_answer.body, {});
    const auto sink = m_sink;
    if (!sink(piece) && ticket.isCurrent()) {
        finish();
    }
}

void HttpExchange::finish() {
    auto answer = m_answer;
    if (m_sink) {
        answer.body.clear(); // the sink gets it
    }
    settle([answer](const auto& completion) { completion.resolve(answer); });
}

void HttpExchange::fail(const HttpError& error) {
    settle([error](const auto& completion) { completion.fail(error); });
}

} // namespace platform
