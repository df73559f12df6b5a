#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <QList>
#include <QPointer>

#include <deque>
#include <memory>
#include <mutex>

class FakeWebSocketTask;

// The peer's side of one connection that the program asked for. It outlives the program's task; what the peer
// does after that reaches nobody. Main thread unless said otherwise.
class FakeWebSocketPeer {
public:
    using ErrorKind = platform::WebSocketError::Kind;

    const QUrl url;
    const int identifier;

    FakeWebSocketPeer(QUrl address, int taskIdentifier)
        : url(std::move(address))
        , identifier(taskIdentifier) {}

    // What the program did.
    bool isResumed() const { return m_resumed; }
    std::optional<int> cancelCode() const { return m_cancelCode; }
    bool isTaskAlive() const { return m_task; }
    int pingCount() const { return m_pingCount; }
    bool isReceiveArmed() const { return static_cast<bool>(m_receive); }
    // Frames in the order of the calls, of all threads.
    QList<QByteArray> sentTexts() const { return sent(true); }
    QList<QByteArray> sentBinaries() const { return sent(false); }

    // What the peer and the network do. Like the real transport, no handler runs within the program's call.
    void open();
    void sendText(const QByteArray& text) { deliver({true, text}); }
    void sendBinary(const QByteArray& bytes) { deliver({false, bytes}); }
    void close(int code);
    void complete(std::optional<platform::WebSocketError> error = {}, int httpStatus = 0);
    // A connection cut without a close frame: the receive fails, then close and completion are reported.
    void breakConnection();
    void setAnswersPings(bool answers) { m_answersPings = answers; }
    void setSigns(platform::ConnectionHealth signs) { m_signs = signs; }
    // From now on every send fails with this; an empty value ends that. The end of a connection does the same
    // for good. Any thread.
    void setSendError(std::optional<platform::WebSocketError> error);

private:
    friend class FakeWebSocketTask;

    // Nothing can be sent or received any more.
    void end(const platform::WebSocketError& why);
    void deliver(platform::WebSocketMessage message);
    void pump();
    QList<QByteArray> sent(bool isText) const;

    QPointer<FakeWebSocketTask> m_task;
    bool m_resumed = false;
    std::optional<int> m_cancelCode;
    int m_httpStatus = 0;
    std::deque<platform::WebSocketMessage> m_incoming;
    std::exception_ptr m_receiveError;
    platform::WebSocketTask::ReceiveHandler m_receive;
    bool m_answersPings = true;
    int m_pingCount = 0;
    platform::ConnectionHealth m_signs;

    mutable std::mutex m_mutex;
    QList<platform::WebSocketMessage> m_sent;
    std::optional<platform::WebSocketError> m_sendError;
    std::optional<platform::WebSocketError> m_over;
};

// The program's side.
class FakeWebSocketTask : public platform::WebSocketTask {
    Q_OBJECT

public:
    explicit FakeWebSocketTask(std::shared_ptr<FakeWebSocketPeer> peer);

    int identifier() const override { return m_peer->identifier; }
    void resume() override;
    void cancel(int closeCode) override;
    void send(Payload kind, QByteArray payload, DoneHandler done) override;
    void receive(ReceiveHandler handler) override;
    void sendPing(DoneHandler pong) override;
    void readHealth(HealthHandler handler) override;
    int httpStatus() const override { return m_peer->m_httpStatus; }

private:
    std::shared_ptr<FakeWebSocketPeer> m_peer;
};

// Connections without a network: each waits for the test to open it or let it fail.
class FakeWebSocketFactory : public platform::WebSocketFactory {
public:
    std::unique_ptr<platform::WebSocketTask> makeTask(QUrl url, qint64 maxMessageBytes) override;

    int count() const { return static_cast<int>(m_peers.size()); }
    // In the order of their making.
    FakeWebSocketPeer& peer(int index) const { return *m_peers.at(static_cast<size_t>(index)); }
    FakeWebSocketPeer& last() const { return *m_peers.back(); }

private:
    std::vector<std::shared_ptr<FakeWebSocketPeer>> m_peers;
};
