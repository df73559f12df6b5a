#pragma once

#include "Services/ActiveSocket.h"
#include "Services/Heartbeat.h"
#include "Services/LinkFields.h"
#include "Services/LinkState.h"
#include "Services/MessageDispatch.h"
#include "Services/ReceiveLoop.h"
#include "Services/ReconnectCountdown.h"
#include "Services/SessionHandshake.h"

#include "Platform/Core/OperationScope.h"

namespace corvane {

// The connection behind WebSocketService: when a socket is opened, what its end means, and what follows.
// Every callback of a socket carries the identifier of its task; a callback of a task that is no longer
// active is ignored. Work that a callback queues checks the state again, because the socket may have been
// lost or replaced in the meantime. Main thread.
class BackendLink {
public:
    BackendLink(WebSocketService& service, platform::WebSocketFactory& factory, platform::Clock& clock);
    ~BackendLink();

    void setAuth(ClerkAuthService* auth);

    QCoro::Task<void> connect(QString baseURL);
    void disconnect();
    void manualReconnect();
    // Checks the connection after the network has changed or the machine has slept: it may be dead without
    // notice. A token that could not be fetched may be available now.
    void followDisturbance();

    const LinkFields& fields() const { return m_fields; }
    ActiveSocket& socket() { return m_socket; }
    SessionHandshake& handshake() { return m_handshake; }

private:
    // Opening.
    QCoro::Task<void> performConnect(LinkEvent request);
    QCoro::Task<void> openWithToken();
    void giveUpWithoutToken(const std::exception_ptr& error);
    void openSocket(const QUrl& url);
    void startTask(const QUrl& url);
    void cleanupConnection();
    void handleOpened(int identifier);
    void finishOpening(int identifier);
    void startPingTimer(int identifier);

    // The end, and what follows.
    enum class StopCause { none, refused, tokenUnavailable };
    void stop(const QString& authError, StopCause cause);
    void clearStop();
    void reconnect();
    void retryToken(const QString& event);
    void handleClosed(int identifier, int code);
    void handleCompleted(int identifier, int httpStatus,
                         const std::optional<platform::WebSocketError>& error);
    void handleRefused(int identifier);
    void handleDisconnect(int identifier);
    void lose(int identifier);
    void attemptReconnect();

    // Receiving.
    void handleMessage(int identifier, WSServerMessage message);
    void confirmSession();

    // Returns false and changes nothing when the event has no meaning in this state.
    bool enter(LinkEvent event);
    bool isInUse(int identifier) const { return m_socket.isInUse(identifier); }

    WebSocketService& q;
    platform::WebSocketFactory& m_factory;
    platform::Clock& m_clock;
    QPointer<ClerkAuthService> m_auth;

    LinkFields m_fields;
    LinkState m_state = LinkState::closed;
    ActiveSocket m_socket;
    SessionHandshake m_handshake;
    MessageDispatch m_dispatch;
    ReceiveLoop m_receiveLoop;
    ReconnectCountdown m_reconnectTask;
    std::optional<Heartbeat> m_pingTimer;
    // Why authError is set, which decides whether an event clears it.
    StopCause m_stopCause = StopCause::none;
    QString m_currentBaseURL;
    // The base URL that the latest task was opened with.
    QString m_openedBaseURL;
    // The monotonic time at which a socket last opened. It is never cleared.
    std::optional<std::chrono::nanoseconds> m_connectionTime;
    // The request for a token that is under way.
    platform::OperationScope m_tokenRequest;
};

} // namespace corvane
