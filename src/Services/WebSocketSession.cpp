#include "Services/WebSocketServicePrivate.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using platform::errorText;
using platform::logLine;

void WebSocketService::Private::performPostConnectSessionHandshake(int identifier) {
    if (!apiService) {
        logLine(QStringLiteral("[WS] No CorvaneAPIService — cannot run session handshake"));
        return;
    }
    if (currentBaseURL == openedBaseURL) {
        // Otherwise the backend behind this socket is about to be left (followNewAddress()).
        platform::startTask(openSession(identifier), "session handshake");
    }
}

void WebSocketService::Private::handleSessionNotFound() {
    if (!apiService) {
        logLine(QStringLiteral("[WS] session_not_found but no API service — emitting sessionNotFound"));
        Q_EMIT q.sessionNotFound(QStringLiteral("session not found"));
        return;
    }
    logLine(QStringLiteral("[WS] Session not found — re-creating via API"));
    platform::startTask(recoverSession(socket.snapshot().activeTaskIdentifier), "session recovery");
}

// Over REST, then over the socket. False when that socket has been lost or left meanwhile: its successor has
// a handshake of its own.
QCoro::Task<bool> WebSocketService::Private::announceSession(int identifier, QString machineId) {
    const QPointer<WebSocketService> self(&q);
    co_await apiService->ensureMachineSession();
    if (!self || !isAlive(identifier)) {
        co_return false;
    }
    co_await q.send(WSCommand::setSession(machineId));
    co_return true;
}

QCoro::Task<void> WebSocketService::Private::openSession(int identifier) {
    const auto machineId = apiService->getMachineId();
    try {
        const bool sent = co_await announceSession(identifier, machineId);
        if (sent) {
            logLine(
                QStringLiteral("[WS] Sent set_session %1 — waiting for server confirmation").arg(machineId));
        }
    } catch (const std::exception& error) {
        logLine(QStringLiteral("[WS] Initial session handshake failed: %1").arg(errorText(error)));
    }
}

QCoro::Task<void> WebSocketService::Private::recoverSession(int identifier) {
    const QPointer<WebSocketService> self(&q);
    const auto machineId = apiService->getMachineId();
    try {
        const bool sent = co_await announceSession(identifier, machineId);
        if (sent) {
            logLine(QStringLiteral("[WS] Re-sent set_session after session recovery: %1").arg(machineId));
        }
    } catch (const std::exception& error) {
        if (self && isAlive(identifier)) {
            logLine(QStringLiteral("[WS] Session recovery failed: %1 — notifying observers")
                        .arg(errorText(error)));
            Q_EMIT q.sessionNotFound(QStringLiteral("session recovery failed"));
        }
    }
}

void WebSocketService::Private::confirmSession() {
    socket.allowBinarySend(true);
    reconnectAttempts = 0;
    setCurrentAttempt(0);
}

} // namespace corvane
