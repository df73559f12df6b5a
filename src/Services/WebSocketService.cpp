#include "Services/WebSocketServicePrivate.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using platform::errorText;
using platform::logLine;

namespace {

// Bounds one message of the server.
constexpr qint64 maxMessageBytes = 16 * 1024 * 1024;

constexpr int goingAway = 1001;

// The last holder may be a sound thread in the middle of a send.
std::shared_ptr<platform::WebSocketTask> sharedTask(std::unique_ptr<platform::WebSocketTask> task) {
    return {task.release(), [](platform::WebSocketTask* last) { last->deleteLater(); }};
}

} // namespace

WebSocketService::WebSocketService(platform::WebSocketFactory& factory, platform::Clock& clock,
                                   platform::ConnectivityMonitor* monitor)
    : d(std::make_unique<Private>(*this, factory, clock)) {
    if (monitor) {
        QObject::connect(monitor, &platform::ConnectivityMonitor::disturbed, this,
                         [this] { d->checkConnection(); });
    }
}

WebSocketService::~WebSocketService() {
    d->cleanupConnection();
}

void WebSocketService::setApiService(CorvaneAPIService* apiService) {
    d->apiService = apiService;
}

void WebSocketService::setAuth(ClerkAuthService* auth) {
    d->auth = auth;
}

bool WebSocketService::isConnected() const {
    return d->isConnected;
}

bool WebSocketService::isReconnecting() const {
    return d->isReconnecting;
}

const std::optional<QString>& WebSocketService::authError() const {
    return d->authError;
}

QString WebSocketService::authErrorText() const {
    return d->authError.value_or(QString());
}

int WebSocketService::reconnectCountdown() const {
    return d->reconnectCountdown;
}

int WebSocketService::currentAttempt() const {
    return d->currentAttempt;
}

QCoro::Task<void> WebSocketService::connect(QString baseURL) {
    if (d->isTearDownDue) {
        // A sign-in right after a sign-out comes second.
        d->tearDown();
    }
    d->currentBaseURL = baseURL;
    d->reconnectAttempts = 0;
    const bool isUp = d->isConnected && !d->isConnecting && !d->isFetchingToken && !d->authError &&
                      d->openedBaseURL == baseURL;
    if (!isUp) {
        co_await d->performConnect();
    }
}

void WebSocketService::disconnect() {
    d->requestTearDown();
}

WebSocketService::Private::Private(WebSocketService& service, platform::WebSocketFactory& socketFactory,
                                   platform::Clock& serviceClock)
    : q(service)
    , factory(socketFactory)
    , clock(serviceClock) {}

bool WebSocketService::Private::isInUse(int identifier) const {
    const auto current = socket.snapshot();
    return current.webSocketTask && current.activeTaskIdentifier == identifier;
}

QCoro::Task<void> WebSocketService::Private::performConnect() {
    if (isConnecting || isFetchingToken) {
        logLine(QStringLiteral("[WS] Already connecting — skipping duplicate"));
        co_return;
    }
    if (currentBaseURL.isEmpty()) {
        co_return;
    }
    if (!auth || !auth->isSignedIn()) {
        logLine(QStringLiteral("[WS] Not signed in — abort connect"));
        co_return;
    }
    const auto token = co_await fetchToken();
    if (!token) {
        co_return;
    }
    // The address as it is now: one saved during the wait counts.
    if (const auto url = webSocketUrl(currentBaseURL, *token)) {
        openSocket(*url);
    }
}

// Nothing when there is none, or when the connection is not wanted any more.
QCoro::Task<std::optional<platform::Secret>> WebSocketService::Private::fetchToken() {
    const QPointer<WebSocketService> self(&q);
    const auto fetch = ++tokenFetch;
    isFetchingToken = true;
    std::optional<platform::Secret> token;
    QString failure;
    try {
        auto fresh = co_await auth->getFreshJWT();
        token = std::move(fresh);
    } catch (const std::exception& error) {
        failure = errorText(error);
    }
    if (!self || fetch != tokenFetch) {
        co_return std::nullopt;
    }
    isFetchingToken = false;
    if (!token) {
        logLine(QStringLiteral("[WS] Failed to get JWT: %1").arg(failure));
        setAuthError(QStringLiteral("Could not fetch session token"));
    }
    co_return token;
}

void WebSocketService::Private::openSocket(const QUrl& url) {
    isConnecting = true;
    didHandleDisconnect = false;
    cleanupConnection();
    intentionalDisconnect = false;
    if (cancelReconnectTask()) {
        // Somebody was quicker than the countdown.
        setReconnectCountdown(0);
    }
    auto task = sharedTask(factory.makeTask(url, maxMessageBytes));
    const auto identifier = task->identifier();
    QObject::connect(task.get(), &platform::WebSocketTask::opened, &q,
                     [this, identifier] { handleOpened(identifier); });
    QObject::connect(task.get(), &platform::WebSocketTask::closed, &q,
                     [this, identifier](int code) { handleClosed(identifier, code); });
    QObject::connect(task.get(), &platform::WebSocketTask::completed, &q,
                     [this, sender = task.get()](const std::optional<platform::WebSocketError>& error) {
                         handleCompleted(sender->identifier(), sender->httpStatus(), error);
                     });
    socket.replace(task);
    openedBaseURL = currentBaseURL;
    const auto host = url.host();
    logLine(QStringLiteral("[WS] Opening connection to %1")
                .arg(host.isEmpty() ? QStringLiteral("unknown") : host));
    task->resume();
}

void WebSocketService::Private::cleanupConnection() {
    pingTimer.reset();
    if (const auto old = socket.drop()) {
        old->cancel(goingAway);
    }
}

void WebSocketService::Private::requestTearDown() {
    // At once: a token that arrives before the queued work must not open a socket any more.
    abandonTokenFetch();
    isTearDownDue = true;
    platform::dispatchToMain(&q, [this] {
        if (isTearDownDue) {
            tearDown();
        }
    });
}

void WebSocketService::Private::tearDown() {
    isTearDownDue = false;
    intentionalDisconnect = true;
    cancelReconnectTask();
    abandonTokenFetch();
    cleanupConnection();
    // The cancelled open reports nothing that could clear it.
    isConnecting = false;
    setConnected(false);
    setReconnecting(false);
}

void WebSocketService::Private::abandonTokenFetch() {
    ++tokenFetch;
    isFetchingToken = false;
}

void WebSocketService::Private::handleOpened(int identifier) {
    const auto current = socket.snapshot();
    if (current.activeTaskIdentifier != identifier) {
        logLine(QStringLiteral("[WS] Ignoring didOpen for stale task %1 (active: %2)")
                    .arg(identifier)
                    .arg(current.activeTaskIdentifier));
        return;
    }
    if (!current.webSocketTask) {
        logLine(QStringLiteral("[WS] Intentional disconnect — not reconnecting"));
        return;
    }
    logLine(QStringLiteral("[WS] Connected (task %1), reconnectAttempts=%2")
                .arg(identifier)
                .arg(reconnectAttempts));
    platform::dispatchToMain(&q, [this, identifier] { finishOpening(identifier); });
    startPingTimer(identifier);
    receiveNext(identifier);
    performPostConnectSessionHandshake(identifier);
}

void WebSocketService::Private::finishOpening(int identifier) {
    if (!isInUse(identifier)) {
        return;
    }
    cancelReconnectTask();
    isConnecting = false;
    didHandleDisconnect = false;
    setConnected(true);
    setReconnecting(false);
    connectionTime = clock.monotonic();
    setAuthError(std::nullopt);
    setReconnectCountdown(0);
    setCurrentAttempt(0);
    followNewAddress();
}

// An address saved while a socket was opening does not touch that socket, but is not forgotten either.
void WebSocketService::Private::followNewAddress() {
    if (currentBaseURL != openedBaseURL) {
        platform::startTask(performConnect(), "connect");
    }
}

void WebSocketService::Private::startPingTimer(int identifier) {
    pingTimer.emplace(
        clock,
        [this, identifier](Heartbeat::PongHandler pong) {
            const auto current = socket.snapshot();
            if (current.webSocketTask && current.activeTaskIdentifier == identifier) {
                current.webSocketTask->sendPing(std::move(pong));
            }
        },
        [this, identifier](const QString& reason) {
            logLine(QStringLiteral("[WS] Ping failed: %1").arg(reason));
            handleDisconnect(identifier);
        });
}

// Only an open connection can have died without a word. A running countdown is left alone: right after a
// resume or a change of network the token service is often not reachable yet, and a try that gets no token is
// the last.
void WebSocketService::Private::checkConnection() {
    if (pingTimer) {
        pingTimer->checkNow();
    }
}

} // namespace corvane
