#pragma once

#include "Services/ActiveSocket.h"
#include "Services/Heartbeat.h"
#include "Services/WebSocketService.h"

#include "Services/ClerkAuthService.h"
#include "Services/CorvaneAPIService.h"

namespace corvane {

// The state behind WebSocketService. Its operations stand by concern: WebSocketService.cpp (opening and
// closing), WebSocketReconnection.cpp, WebSocketSession.cpp, WebSocketSending.cpp, WebSocketReceiving.cpp.
// Every callback of a connection carries its task's identifier; one that is no longer the active one is
// stale. Work that a callback queues checks again, because the connection may have been replaced in between.
class WebSocketService::Private {
public:
    Private(WebSocketService& service, platform::WebSocketFactory& socketFactory,
            platform::Clock& serviceClock);

    // Writes an observable field and says so if it changed.
    template<typename T>
    void set(T& field, std::type_identity_t<T> value, void (WebSocketService::*changed)()) {
        if (field != value) {
            field = std::move(value);
            (q.*changed)();
        }
    }
    void setConnected(bool value) { set(isConnected, value, &WebSocketService::isConnectedChanged); }
    void setReconnecting(bool value) { set(isReconnecting, value, &WebSocketService::isReconnectingChanged); }
    void setAuthError(std::optional<QString> value) {
        set(authError, std::move(value), &WebSocketService::authErrorChanged);
    }
    void setReconnectCountdown(int value) {
        set(reconnectCountdown, value, &WebSocketService::reconnectCountdownChanged);
    }
    void setCurrentAttempt(int value) {
        set(currentAttempt, value, &WebSocketService::currentAttemptChanged);
    }

    // Opening and closing.
    QCoro::Task<void> performConnect();
    QCoro::Task<std::optional<platform::Secret>> fetchToken();
    void openSocket(const QUrl& url);
    void cleanupConnection();
    void requestTearDown();
    void tearDown();
    void abandonTokenFetch();
    void handleOpened(int identifier);
    void finishOpening(int identifier);
    void followNewAddress();
    void startPingTimer(int identifier);
    void checkConnection();
    // The task of this identifier is the latest one.
    bool isActive(int identifier) const { return socket.snapshot().activeTaskIdentifier == identifier; }
    // It is also still in use.
    bool isInUse(int identifier) const;
    // And it has not been lost.
    bool isAlive(int identifier) const { return isInUse(identifier) && !didHandleDisconnect; }

    // Loss and reconnection.
    void handleClosed(int identifier, int code);
    void handleCompleted(int identifier, int httpStatus,
                         const std::optional<platform::WebSocketError>& error);
    void handleDisconnect(int identifier);
    void lose(int identifier);
    void attemptReconnect();
    void countDown();
    bool cancelReconnectTask();

    // The session on the server.
    void performPostConnectSessionHandshake(int identifier);
    void handleSessionNotFound();
    QCoro::Task<void> openSession(int identifier);
    QCoro::Task<void> recoverSession(int identifier);
    QCoro::Task<bool> announceSession(int identifier, QString machineId);
    void confirmSession();

    // Frames.
    std::shared_ptr<platform::WebSocketTask> taskForSending(const QString& complaint) const;
    void receiveNext(int identifier);
    void handleReceived(int identifier, const std::optional<platform::WebSocketMessage>& message,
                        const std::exception_ptr& error);
    void handleTextMessage(int identifier, const QByteArray& text);
    void dispatchMessage(const WSServerMessage& message);
    // Nothing when the key is missing or has another type.
    void emitText(const boost::json::object& content, std::string_view key,
                  void (WebSocketService::*signal)(const QString&));
    void emitObject(const boost::json::object& content, std::string_view key,
                    void (WebSocketService::*signal)(const boost::json::object&));
    void handleSessionResumed(const boost::json::object& content);
    void handleSessionFresh();
    void handleServerError(const boost::json::object& content);

    WebSocketService& q;
    platform::WebSocketFactory& factory;
    platform::Clock& clock;
    QPointer<CorvaneAPIService> apiService;
    QPointer<ClerkAuthService> auth;

    bool isConnected = false;
    bool isReconnecting = false;
    std::optional<QString> authError;
    int reconnectCountdown = 0;
    int currentAttempt = 0;

    ActiveSocket socket;
    QString currentBaseURL;
    // What the latest task was opened with.
    QString openedBaseURL;
    int reconnectAttempts = 0;
    // Monotonic. When a socket last opened; never cleared.
    std::optional<std::chrono::nanoseconds> connectionTime;
    std::optional<Heartbeat> pingTimer;
    // The countdown; a tick each second.
    std::unique_ptr<platform::Timer> reconnectTask;
    int secondsToReconnect = 0;
    bool intentionalDisconnect = false;
    bool isConnecting = false;
    bool didHandleDisconnect = false;
    // disconnect() was called and its queued work has not run.
    bool isTearDownDue = false;
    bool isFetchingToken = false;
    // Tells an abandoned fetch that it is nobody's any more.
    quint64 tokenFetch = 0;
};

} // namespace corvane
