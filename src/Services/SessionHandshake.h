#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QPointer>
#include <QString>

namespace corvane {

class CorvaneAPIService;
class WebSocketService;

// Makes this machine's session known to the backend, over REST and then over the open socket: after each
// open, and again when the server has lost it. Main thread.
class SessionHandshake {
public:
    explicit SessionHandshake(WebSocketService& service)
        : q(service) {}

    // Weak. Without it there is no session.
    void setApiService(CorvaneAPIService* apiService);

    // `baseURL`: of the backend behind the open socket.
    void open(const QString& baseURL);
    void recover(const QString& baseURL);
    // The connection has been lost or left. Its successor has a handshake of its own.
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
