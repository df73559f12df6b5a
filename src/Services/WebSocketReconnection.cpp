#include "Services/WebSocketServicePrivate.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/ReconnectPolicy.h"

namespace corvane {

using namespace std::chrono_literals;
using platform::dispatchToMain;
using platform::logLine;

namespace {

constexpr int unauthorized = 401;

} // namespace

void WebSocketService::manualReconnect() {
    logLine(QStringLiteral("[WS] Manual reconnect triggered"));
    d->cancelReconnectTask();
    d->reconnectAttempts = 0;
    dispatchToMain(this, [this] {
        d->setReconnectCountdown(0);
        d->setCurrentAttempt(0);
        d->setReconnecting(false);
        d->setAuthError(std::nullopt);
        platform::startTask(d->performConnect(), "connect");
    });
}

void WebSocketService::Private::handleClosed(int identifier, int code) {
    if (isActive(identifier)) {
        logLine(QStringLiteral("[WS] Connection closed with code: %1").arg(code));
        handleDisconnect(identifier);
    }
}

void WebSocketService::Private::handleCompleted(int identifier, int httpStatus,
                                                const std::optional<platform::WebSocketError>& error) {
    if (!isActive(identifier)) {
        return;
    }
    if (httpStatus == unauthorized) {
        logLine(QStringLiteral("[WS] Authentication failed (401) — invalidating JWT"));
        if (auth) {
            auth->invalidateCachedJWT();
        }
        dispatchToMain(&q, [this, identifier] {
            if (isInUse(identifier)) {
                isConnecting = false;
                setAuthError(QStringLiteral("Authentication failed — please sign in again."));
                setConnected(false);
                followNewAddress();
            }
        });
        return;
    }
    if (error) {
        logLine(QStringLiteral("[WS] Task completed with error: %1").arg(platform::errorText(*error)));
    }
    handleDisconnect(identifier);
}

void WebSocketService::Private::handleDisconnect(int identifier) {
    dispatchToMain(&q, [this, identifier] { lose(identifier); });
}

void WebSocketService::Private::lose(int identifier) {
    if (!isActive(identifier)) {
        return;
    }
    if (intentionalDisconnect) {
        logLine(QStringLiteral("[WS] Intentional disconnect — not reconnecting"));
        return;
    }
    if (didHandleDisconnect) {
        logLine(QStringLiteral("[WS] Disconnect already handled — ignoring duplicate"));
        return;
    }
    didHandleDisconnect = true;
    isConnecting = false;
    setConnected(false);
    socket.allowBinarySend(false);
    Q_EMIT q.disconnected();
    pingTimer.reset();
    if (connectionTime && clock.monotonic() - *connectionTime >= reconnectPolicy::minStableConnectionSecs) {
        reconnectAttempts = 0;
    }
    if (!authError) {
        attemptReconnect();
    }
}

void WebSocketService::Private::attemptReconnect() {
    if (reconnectAttempts >= reconnectPolicy::maxReconnectAttempts) {
        logLine(QStringLiteral("[WS] Max reconnect attempts reached"));
        dispatchToMain(&q, [this] {
            setReconnecting(false);
            setReconnectCountdown(0);
        });
        return;
    }
    const auto wait = reconnectPolicy::backoffSecs(reconnectAttempts);
    const auto attempt = ++reconnectAttempts;
    logLine(QStringLiteral("[WS] Reconnecting in %1 seconds (attempt %2/%3)")
                .arg(wait)
                .arg(attempt)
                .arg(reconnectPolicy::maxReconnectAttempts));
    dispatchToMain(&q, [this, wait, attempt] {
        // Nothing is planned any more when the user side closed the link in between.
        if (reconnectTask) {
            setReconnecting(true);
            setCurrentAttempt(attempt);
            setReconnectCountdown(wait);
        }
    });
    secondsToReconnect = wait;
    reconnectTask = clock.repeat(1s, [this] { countDown(); });
}

void WebSocketService::Private::countDown() {
    setReconnectCountdown(--secondsToReconnect);
    if (secondsToReconnect == 0) {
        cancelReconnectTask();
        platform::startTask(performConnect(), "reconnect");
    }
}

// True when one was running.
bool WebSocketService::Private::cancelReconnectTask() {
    return std::exchange(reconnectTask, nullptr) != nullptr;
}

} // namespace corvane
