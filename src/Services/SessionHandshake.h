#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QPointer>
#include <QString>

namespace corvane {

class CorvaneAPIService;
class WebSocketService;

// Announces this machine's session to the backend, over REST and then over the open socket: after each
// opening, and again when the server has lost the session. Main thread.
class SessionHandshake {
public:
    explicit SessionHandshake(WebSocketService& service)
        : q(service) {}

    // Holds the service weakly. Without it no session is opened.
    void setApiService(CorvaneAPIService* apiService);

    // `baseURL` is that of the backend behind the open socket.
    void performPostConnectSessionHandshake(const QString& baseURL);
    void handleSessionNotFound(const QString& baseURL);
    // Called when the connection has been lost or closed. Its successor does a handshake of its own.
    void abandon() { m_scope.cancel(); }

private:
    QCoro::Task<void> openSession(QString baseURL);
    QCoro::Task<void> recoverSession(QString baseURL);
    QCoro::Task<void> announceSession(QString baseURL, QString machineId);

    WebSocketService& q;
    QPointer<CorvaneAPIService> m_apiService;
    platform::OperationScope m_scope;
};

} // namespace corvane
