#pragma once

#include "Services/ActiveSocket.h"
#include "Services/Heartbeat.h"
#include "Services/LinkFields.h"
#include "Services/LinkState.h"
#include "Services/MessageDispatch.h"
#include "Services/ReconnectCountdown.h"
#include "Services/SessionHandshake.h"

#include "Platform/Core/OperationScope.h"

namespace corvane {

// The course of the link behind WebSocketService: when a socket is opened, what its end means and what
// follows. Every callback of a socket carries its task's identifier; one that is no longer the active one is
// stale. Work that a callback queues looks at the state once more, because the socket may have been lost or
// replaced in between. Main thread.
class BackendLink {
public:
    BackendLink(WebSocketService& service, platform::WebSocketFactory& factory, platform::Clock& clock);
    ~BackendLink();

    void setAuth(ClerkAuthService* auth);

    QCoro::Task<void> connect(QString baseURL);
    void disconnect();
    void manualReconnect();
    // The network has changed, or the machine has slept: an open connection may be dead without a word, and a
    // token may be within reach again.
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
    void receiveNext(int identifier);
    void handleReceived(int identifier, const std::optional<platform::WebSocketMessage>& message,
                        const std::exception_ptr& error);
    void handleTextMessage(int identifier, const QByteArray& text);
    void confirmSession();

    // False, without a change, when the event means nothing now.
    bool enter(LinkEvent event);
    // The task of this identifier is the latest one.
    bool isActive(int identifier) const { return m_socket.snapshot().activeTaskIdentifier == identifier; }
    // It is also still in use.
    bool isInUse(int identifier) const;

    WebSocketService& q;
    platform::WebSocketFactory& m_factory;
    platform::Clock& m_clock;
    QPointer<ClerkAuthService> m_auth;

    LinkFields m_fields;
    LinkState m_state = LinkState::closed;
    ActiveSocket m_socket;
    SessionHandshake m_handshake;
    MessageDispatch m_dispatch;
    ReconnectCountdown m_countdown;
    std::optional<Heartbeat> m_pingTimer;
    // Of the field authError: whether an event may end what it says.
    StopCause m_stopCause = StopCause::none;
    QString m_currentBaseURL;
    // What the latest task was opened with.
    QString m_openedBaseURL;
    // Monotonic. When a socket last opened; never cleared.
    std::optional<std::chrono::nanoseconds> m_connectionTime;
    // The request for a token that is under way.
    platform::OperationScope m_tokenRequest;
};

} // namespace corvane
