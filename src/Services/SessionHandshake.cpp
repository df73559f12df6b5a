#include "Services/SessionHandshake.h"

#include "Services/CorvaneAPIService.h"
#include "Services/WebSocketService.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using platform::errorText;
using platform::logLine;
using platform::OperationCancelled;

void SessionHandshake::setApiService(CorvaneAPIService* apiService) {
    m_apiService = apiService;
}

void SessionHandshake::performPostConnectSessionHandshake(const QString& baseURL) {
    if (!m_apiService) {
        logLine(QStringLiteral("[WS] No CorvaneAPIService — cannot run session handshake"));
        return;
    }
    platform::startTask(openSession(baseURL), "session handshake");
}

void SessionHandshake::handleSessionNotFound(const QString& baseURL) {
    if (!m_apiService) {
        logLine(QStringLiteral("[WS] session_not_found but no API service — emitting sessionNotFound"));
        Q_EMIT q.sessionNotFound(QStringLiteral("session not found"));
        return;
    }
    logLine(QStringLiteral("[WS] Session not found — re-creating via API"));
    platform::startTask(recoverSession(baseURL), "session recovery");
}

QCoro::Task<void> SessionHandshake::announceSession(QString baseURL, QString machineId) {
    const auto ticket = m_scope.ticket();
    co_await m_apiService->ensureMachineSession(baseURL);
    ticket.ensureCurrent();
    co_await q.send(WSCommand::setSession(machineId));
}

QCoro::Task<void> SessionHandshake::openSession(QString baseURL) {
    const auto machineId = m_apiService->getMachineId();
    try {
        co_await announceSession(baseURL, machineId);
        logLine(QStringLiteral("[WS] Sent set_session %1 — waiting for server confirmation").arg(machineId));
    } catch (const OperationCancelled&) {
        throw;
    } catch (const std::exception& error) {
        logLine(QStringLiteral("[WS] Initial session handshake failed: %1").arg(errorText(error)));
    }
}

QCoro::Task<void> SessionHandshake::recoverSession(QString baseURL) {
    const auto ticket = m_scope.ticket();
    const auto machineId = m_apiService->getMachineId();
    try {
        co_await announceSession(baseURL, machineId);
        logLine(QStringLiteral("[WS] Re-sent set_session after session recovery: %1").arg(machineId));
    } catch (const OperationCancelled&) {
        throw;
    } catch (const std::exception& error) {
        ticket.ensureCurrent();
        logLine(
            QStringLiteral("[WS] Session recovery failed: %1 — notifying observers").arg(errorText(error)));
        Q_EMIT q.sessionNotFound(QStringLiteral("session recovery failed"));
    }
}

} // namespace corvane
