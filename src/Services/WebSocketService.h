#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Network/ConnectivityMonitor.h"
#include "Platform/Network/WebSocketTask.h"
#include "Services/WebSocketMessages.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>

namespace corvane {

class BackendLink;
class ClerkAuthService;
class CorvaneAPIService;
class DroppedSound;

// Keeps one WebSocket to the backend open while the user is signed in (handshake, pings, reconnection with
// backoff, recovery of a lost session) and turns the server's messages into signals. Main thread unless
// stated otherwise.
class WebSocketService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isConnected READ isConnected NOTIFY isConnectedChanged)
    Q_PROPERTY(bool isReconnecting READ isReconnecting NOTIFY isReconnectingChanged)
    Q_PROPERTY(QString authError READ authErrorText NOTIFY authErrorChanged)
    Q_PROPERTY(int reconnectCountdown READ reconnectCountdown NOTIFY reconnectCountdownChanged)
    Q_PROPERTY(int currentAttempt READ currentAttempt NOTIFY currentAttemptChanged)

public:
    // Receives null on success.
    using SendHandler = std::function<void(std::exception_ptr)>;

    // The monitor may be null.
    WebSocketService(platform::WebSocketFactory& factory, platform::Clock& clock,
                     platform::ConnectivityMonitor* monitor);
    ~WebSocketService() override;

    // Both are held weakly. Without them no connection is made.
    void setApiService(CorvaneAPIService* apiService);
    void setAuth(ClerkAuthService* auth);

    bool isConnected() const;
    bool isReconnecting() const;
    const std::optional<QString>& authError() const;
    QString authErrorText() const;  // empty when there is none
    int reconnectCountdown() const; // s
    int currentAttempt() const;

    QCoro::Task<void> connect(QString baseURL);
    void disconnect();
    void manualReconnect();

    // These complete when the frame has been sent. They throw platform::WebSocketError, of the kind
    // `notConnected` when there is no connection.
    QCoro::Task<void> send(WSCommand command);
    QCoro::Task<void> sendCandidateSpeechStart();
    QCoro::Task<void> sendCandidateSpeechStop(qint64 at); // ms since the Unix epoch
    QCoro::Task<void> sendBinary(QByteArray data, quint8 streamFlag);
    // Can be called on any thread; frames are sent in the order of the calls. `done` is called once, on any
    // thread. It receives an error of the kind `congested` when the uplink was too slow for the sound. Until
    // the server has confirmed the session, the data is dropped and `done` reports success.
    void sendBinary(QByteArray data, quint8 streamFlag, SendHandler done);

Q_SIGNALS:
    void isConnectedChanged();
    void isReconnectingChanged();
    void authErrorChanged();
    void reconnectCountdownChanged();
    void currentAttemptChanged();

    // Event streams.
    void chatChunk(const QString& text);
    void chatComplete();
    void assessmentChunk(const QString& text);
    void assessmentComplete(const boost::json::object& message);
    void sessionResumed(const SessionResumedPayload& payload);
    void sessionFresh();
    void interviewQuestions(const boost::json::object& questions);
    void interviewPlan(const boost::json::object& plan);
    void requestActiveQuestion();
    void endInterviewAck();
    void processingStatus(const QString& stage);
    void candidateSpeaking();
    void candidateStoppedSpeaking();
    void sessionNotFound(const QString& reason);
    void wsError(const QString& message);
    void disconnected();

private:
    std::unique_ptr<BackendLink> m_link;
    // Shared with the sends under way.
    std::shared_ptr<DroppedSound> m_droppedSound;
};

} // namespace corvane
