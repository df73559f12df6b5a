#include "Services/BackendLink.h"

#include "Services/BackendAddress.h"
#include "Services/ClerkAuthService.h"
#include "Services/ReconnectPolicy.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using platform::dispatchToMain;
using platform::errorText;
using platform::logLine;

namespace {

// The longest message that is accepted from the server.
constexpr qint64 maxMessageBytes = 16 * 1024 * 1024;

constexpr int goingAway = 1001;
constexpr int unauthorized = 401;

// The last owner may be a sound thread in the middle of a send, so the task is deleted later.
std::shared_ptr<platform::WebSocketTask> sharedTask(std::unique_ptr<platform::WebSocketTask> task) {
    return {task.release(), [](platform::WebSocketTask* last) { last->deleteLater(); }};
}

} // namespace

BackendLink::BackendLink(WebSocketService& service, platform::WebSocketFactory& factory,
                         platform::Clock& clock)
    : q(service)
    , m_factory(factory)
    , m_clock(clock)
    , m_fields(service)
    , m_handshake(service)
    , m_dispatch(service, {.sessionConfirmed = [this] { confirmSession(); },
                           .sessionLost = [this] { m_handshake.handleSessionNotFound(m_openedBaseURL); }})
    , m_receiveLoop(m_socket, {.message =
                                   [this](int identifier, WSServerMessage message) {
                                       handleMessage(identifier, std::move(message));
                                   },
                               .failed = [this](int identifier) { handleDisconnect(identifier); }})
    , m_reconnectTask(
          clock, [this](int seconds) { m_fields.setReconnectCountdown(seconds); },
          [this] { platform::startTask(performConnect(LinkEvent::wanted), "reconnect"); }) {}

BackendLink::~BackendLink() {
    cleanupConnection();
}

void BackendLink::setAuth(ClerkAuthService* auth) {
    m_auth = auth;
    if (auth) {
        QObject::connect(auth, &ClerkAuthService::storeUnlocked, &q,
                         [this] { retryToken(QStringLiteral("The secret store is unlocked")); });
    }
}

bool BackendLink::enter(LinkEvent event) {
    const auto next = follow(m_state, event);
    m_state = next.value_or(m_state);
    return next.has_value();
}

QCoro::Task<void> BackendLink::connect(QString baseURL) {
    m_currentBaseURL = baseURL;
    m_reconnectTask.clearAttempts();
    co_await performConnect(LinkEvent::wanted);
}

void BackendLink::disconnect() {
    enter(LinkEvent::disconnected);
    m_tokenRequest.cancel();
    m_reconnectTask.cancel();
    cleanupConnection();
    m_fields.setConnected(false);
    m_fields.setReconnecting(false);
}

void BackendLink::manualReconnect() {
    logLine(QStringLiteral("[WS] Manual reconnect triggered"));
    reconnect();
}

void BackendLink::reconnect() {
    m_reconnectTask.cancel();
    m_reconnectTask.clearAttempts();
    dispatchToMain(&q, [this] {
        m_fields.setReconnectCountdown(0);
        m_fields.setCurrentAttempt(0);
        m_fields.setReconnecting(false);
        clearStop();
        platform::startTask(performConnect(LinkEvent::insisted), "connect");
    });
}

void BackendLink::stop(const QString& authError, StopCause cause) {
    m_stopCause = cause;
    m_fields.setAuthError(authError);
}

void BackendLink::clearStop() {
    m_stopCause = StopCause::none;
    m_fields.setAuthError(std::nullopt);
}

// A stop for want of a token, as opposed to a refusal, ends when a token may be available again, as it does
// by the user's button. A request for a token that is under way is made again, as it may be waiting for a
// network that is gone.
void BackendLink::retryToken(const QString& event) {
    const bool isFetching = m_state == LinkState::fetchingToken || m_state == LinkState::replacing;
    if (isFetching) {
        platform::startTask(performConnect(LinkEvent::insisted), "connect");
    } else if (m_state != LinkState::closed && m_stopCause == StopCause::tokenUnavailable) {
        logLine(QStringLiteral("[WS] %1 — reconnecting").arg(event));
        reconnect();
    }
}

QCoro::Task<void> BackendLink::performConnect(LinkEvent request) {
    const bool isConnecting = !follow(m_state, request);
    if (isConnecting) {
        logLine(QStringLiteral("[WS] Already connecting — skipping duplicate"));
        co_return;
    }
    if (m_currentBaseURL.isEmpty()) {
        co_return;
    }
    if (!m_auth || !m_auth->isSignedIn()) {
        logLine(QStringLiteral("[WS] Not signed in — abort connect"));
        co_return;
    }
    enter(request);
    m_tokenRequest.cancel();
    co_await openWithToken();
}

QCoro::Task<void> BackendLink::openWithToken() {
    const auto ticket = m_tokenRequest.ticket();
    std::optional<platform::Secret> token;
    std::exception_ptr failure;
    try {
        auto fresh = co_await m_auth->getFreshJWT();
        token = std::move(fresh);
    } catch (const std::exception&) {
        failure = std::current_exception();
    }
    ticket.ensureCurrent();
    if (!token) {
        giveUpWithoutToken(failure);
        co_return;
    }
    // The address may have changed during the wait; the present one counts.
    openSocket(webSocketUrl(m_currentBaseURL, *token));
}

void BackendLink::giveUpWithoutToken(const std::exception_ptr& error) {
    enter(LinkEvent::tokenFailed);
    logLine(QStringLiteral("[WS] Failed to get JWT: %1").arg(errorText(error)));
    const bool isRefused = ClerkAuthService::tokenFailure(error) == ClerkAuthService::TokenFailure::refused;
    stop(QStringLiteral("Could not fetch session token"),
         isRefused ? StopCause::refused : StopCause::tokenUnavailable);
}

void BackendLink::openSocket(const QUrl& url) {
    enter(LinkEvent::tokenCame);
    cleanupConnection();
    if (m_reconnectTask.cancel()) {
        // Another request came before the countdown had ended.
        m_fields.setReconnectCountdown(0);
    }
    if (url.isValid()) {
        const auto host = url.host();
        logLine(QStringLiteral("[WS] Opening connection to %1")
                    .arg(host.isEmpty() ? QStringLiteral("unknown") : host));
    }
    // An invalid address fails in the same way as a server that cannot be reached.
    startTask(url);
}

void BackendLink::startTask(const QUrl& url) {
    auto task = sharedTask(m_factory.makeTask(url, maxMessageBytes));
    const auto identifier = task->identifier();
    QObject::connect(task.get(), &platform::WebSocketTask::opened, &q,
                     [this, identifier] { handleOpened(identifier); });
    QObject::connect(task.get(), &platform::WebSocketTask::closed, &q,
                     [this, identifier](int code) { handleClosed(identifier, code); });
    QObject::connect(task.get(), &platform::WebSocketTask::completed, &q,
                     [this, sender = task.get()](const std::optional<platform::WebSocketError>& error) {
                         handleCompleted(sender->identifier(), sender->httpStatus(), error);
                     });
    m_socket.replace(task);
    m_openedBaseURL = m_currentBaseURL;
    task->resume();
}

void BackendLink::cleanupConnection() {
    m_handshake.abandon();
    m_pingTimer.reset();
    if (const auto old = m_socket.drop()) {
        old->cancel(goingAway);
    }
}

void BackendLink::handleOpened(int identifier) {
    const auto current = m_socket.snapshot();
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
                .arg(m_reconnectTask.attempts()));
    dispatchToMain(&q, [this, identifier] { finishOpening(identifier); });
    startPingTimer(identifier);
    m_receiveLoop.receiveNext(identifier);
    m_handshake.performPostConnectSessionHandshake(m_openedBaseURL);
}

void BackendLink::finishOpening(int identifier) {
    if (!isInUse(identifier) || !enter(LinkEvent::opened)) {
        return;
    }
    m_reconnectTask.cancel();
    m_fields.setConnected(true);
    m_fields.setReconnecting(false);
    m_connectionTime = m_clock.monotonic();
    clearStop();
    m_fields.setReconnectCountdown(0);
    m_fields.setCurrentAttempt(0);
}

void BackendLink::startPingTimer(int identifier) {
    m_pingTimer.emplace(
        m_clock,
        [this, identifier](Heartbeat::PongHandler pong) {
            if (isInUse(identifier)) {
                m_socket.snapshot().webSocketTask->sendPing(std::move(pong));
            }
        },
        [this, identifier](platform::WebSocketTask::HealthHandler handler) {
            if (isInUse(identifier)) {
                m_socket.snapshot().webSocketTask->readHealth(std::move(handler));
            }
        },
        [this, identifier](const QString& reason) {
            logLine(QStringLiteral("[WS] Ping failed: %1").arg(reason));
            handleDisconnect(identifier);
        });
}

// A running countdown is left alone, as it leads to an attempt in any case.
void BackendLink::followDisturbance() {
    if (m_pingTimer) {
        m_pingTimer->checkNow();
    }
    retryToken(QStringLiteral("The network has changed"));
}

void BackendLink::handleClosed(int identifier, int code) {
    if (m_socket.isActive(identifier)) {
        logLine(QStringLiteral("[WS] Connection closed with code: %1").arg(code));
        handleDisconnect(identifier);
    }
}

void BackendLink::handleCompleted(int identifier, int httpStatus,
                                  const std::optional<platform::WebSocketError>& error) {
    if (!m_socket.isActive(identifier)) {
        return;
    }
    if (httpStatus == unauthorized) {
        logLine(QStringLiteral("[WS] Authentication failed (401) — invalidating JWT"));
        if (m_auth) {
            m_auth->invalidateCachedJWT();
        }
        dispatchToMain(&q, [this, identifier] { handleRefused(identifier); });
        return;
    }
    if (error) {
        const auto fault = addressFault(m_openedBaseURL);
        logLine(QStringLiteral("[WS] Task completed with error: %1").arg(fault ? *fault : errorText(*error)));
    }
    handleDisconnect(identifier);
}

void BackendLink::handleRefused(int identifier) {
    if (isInUse(identifier) && enter(LinkEvent::refused)) {
        stop(QStringLiteral("Authentication failed — please sign in again."), StopCause::refused);
        m_fields.setConnected(false);
    }
}

void BackendLink::handleDisconnect(int identifier) {
    dispatchToMain(&q, [this, identifier] { lose(identifier); });
}

void BackendLink::lose(int identifier) {
    if (!m_socket.isActive(identifier)) {
        return;
    }
    const bool intentionalDisconnect = !isInUse(identifier);
    if (intentionalDisconnect) {
        logLine(QStringLiteral("[WS] Intentional disconnect — not reconnecting"));
        return;
    }
    const bool didHandleDisconnect = !enter(LinkEvent::ended);
    if (didHandleDisconnect) {
        logLine(QStringLiteral("[WS] Disconnect already handled — ignoring duplicate"));
        return;
    }
    m_handshake.abandon();
    m_fields.setConnected(false);
    m_socket.allowBinarySend(false);
    Q_EMIT q.disconnected();
    m_pingTimer.reset();
    if (m_connectionTime &&
        m_clock.monotonic() - *m_connectionTime >= reconnectPolicy::minStableConnectionSecs) {
        m_reconnectTask.clearAttempts();
    }
    // A listener may have closed the link.
    if (m_state != LinkState::closed && !m_fields.authError()) {
        attemptReconnect();
    }
}

void BackendLink::attemptReconnect() {
    const auto plan = m_reconnectTask.start();
    if (!plan) {
        logLine(QStringLiteral("[WS] Max reconnect attempts reached"));
        dispatchToMain(&q, [this] {
            m_fields.setReconnecting(false);
            m_fields.setReconnectCountdown(0);
        });
        return;
    }
    logLine(QStringLiteral("[WS] Reconnecting in %1 seconds (attempt %2/%3)")
                .arg(plan->wait)
                .arg(plan->attempt)
                .arg(reconnectPolicy::maxReconnectAttempts));
    dispatchToMain(&q, [this, plan = *plan] {
        // The link may have been closed in the meantime, which ends the countdown.
        if (m_reconnectTask.isRunning()) {
            m_fields.setReconnecting(true);
            m_fields.setCurrentAttempt(plan.attempt);
            m_fields.setReconnectCountdown(plan.wait);
        }
    });
}

void BackendLink::handleMessage(int identifier, WSServerMessage message) {
    dispatchToMain(&q, [this, identifier, message = std::move(message)] {
        // A message of a lost connection must not be taken for one of a live connection.
        if (isInUse(identifier) && hasLiveSocket(m_state)) {
            m_dispatch.dispatch(message);
        }
    });
}

void BackendLink::confirmSession() {
    m_socket.allowBinarySend(true);
    m_reconnectTask.clearAttempts();
    m_fields.setCurrentAttempt(0);
}

} // namespace corvane
