#pragma once

#include "Platform/Network/WebSocketTask.h"

#include <QList>
#include <QPointer>

#include <deque>
#include <memory>
#include <mutex>
#include <thread>

// The peer's side of one connection that the program asked for. It outlives the program's task; what the peer
// does after that reaches nobody. Main thread unless said otherwise.
class FakeWebSocketPeer {
    using Error = platform::WebSocketError;

public:
    using ErrorKind = Error::Kind;

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
    void open() {
        m_httpStatus = 101;
        if (m_task) {
            Q_EMIT m_task->opened();
        }
    }
    void sendText(const QByteArray& text) { deliver({true, text}); }
    void sendBinary(const QByteArray& bytes) { deliver({false, bytes}); }
    void close(int code) {
        if (m_task) {
            Q_EMIT m_task->closed(code);
        }
    }
    void complete(std::optional<Error> error = {}, int httpStatus = 0) {
        if (httpStatus != 0) {
            m_httpStatus = httpStatus;
        }
        end(error.value_or(Error(ErrorKind::notConnected, "The server closed the connection.")));
        if (m_task) {
            Q_EMIT m_task->completed(std::move(error));
        }
    }
    // A connection cut without a close frame: the receive fails, then close and completion are reported.
    void breakConnection() {
        const Error lost(ErrorKind::connectionLost, "The connection was lost.");
        end(lost);
        close(1006);
        complete(lost);
    }
    void setAnswersPings(bool answers) { m_answersPings = answers; }
    void setSigns(platform::ConnectionHealth signs) { m_signs = signs; }
    // From now on every send fails with this; an empty value ends that. The end of a connection does the same
    // for good. Any thread.
    void setSendError(std::optional<Error> error) {
        const std::lock_guard lock(m_mutex);
        m_sendError = std::move(error);
    }

private:
    friend class FakeWebSocketTask;

    // From now on nothing can be sent or received.
    void end(const Error& why) {
        {
            const std::lock_guard lock(m_mutex);
            if (!m_over) {
                m_over = why;
                m_receiveError = std::make_exception_ptr(why);
            }
        }
        pump();
    }
    void deliver(platform::WebSocketMessage message) {
        m_incoming.push_back(std::move(message));
        pump();
    }
    void pump() {
        while (m_task && m_receive && !m_incoming.empty()) {
            auto message = std::move(m_incoming.front());
            m_incoming.pop_front();
            std::exchange(m_receive, nullptr)(std::move(message), nullptr);
        }
        if (m_task && m_receive && m_receiveError) {
            std::exchange(m_receive, nullptr)(std::nullopt, m_receiveError);
        }
    }
    QList<QByteArray> sent(bool isText) const {
        const std::lock_guard lock(m_mutex);
        QList<QByteArray> payloads;
        for (const auto& message : m_sent) {
            if (message.isText == isText) {
                payloads.append(message.payload);
            }
        }
        return payloads;
    }

    QPointer<platform::WebSocketTask> m_task;
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
    std::optional<Error> m_sendError;
    std::optional<Error> m_over;
};

// The program's side.
class FakeWebSocketTask : public platform::WebSocketTask {
    using Peer = FakeWebSocketPeer;

public:
    explicit FakeWebSocketTask(std::shared_ptr<Peer> peer)
        : m_peer(std::move(peer)) {
        m_peer->m_task = this;
    }

    int identifier() const override { return m_peer->identifier; }
    void resume() override {
        m_peer->m_resumed = true;
        const bool isSocket = m_peer->url.scheme() == u"wss" || m_peer->url.scheme() == u"ws";
        if (!isSocket || m_peer->url.host().isEmpty()) {
            later([peer = m_peer] {
                peer->complete(platform::WebSocketError(Peer::ErrorKind::cannotConnect, "no address"));
            });
        }
    }
    // As the real one, it tells the armed receive from the event loop, if it still lives then.
    void cancel(int closeCode) override {
        m_peer->m_cancelCode = closeCode;
        later([peer = m_peer] {
            peer->end(platform::WebSocketError(Peer::ErrorKind::cancelled, "cancelled"));
        });
    }
    void send(Payload kind, QByteArray payload, DoneHandler done) override {
        std::optional<platform::WebSocketError> error;
        {
            const std::lock_guard lock(m_peer->m_mutex);
            error = m_peer->m_over ? m_peer->m_over : m_peer->m_sendError;
            if (!error) {
                m_peer->m_sent.append({kind == Payload::text, std::move(payload)});
            }
        }
        // What becomes of a frame is told by another thread than the one that sends it.
        std::thread([&] { done(error ? std::make_exception_ptr(*error) : nullptr); }).join();
    }
    void receive(ReceiveHandler handler) override {
        m_peer->m_receive = std::move(handler);
        later([peer = m_peer] { peer->pump(); });
    }
    void sendPing(DoneHandler pong) override {
        ++m_peer->m_pingCount;
        if (m_peer->m_answersPings) {
            later([pong] { pong(nullptr); });
        }
    }
    void readHealth(HealthHandler handler) override {
        later([peer = m_peer, handler = std::move(handler)] { handler(peer->m_signs); });
    }
    int httpStatus() const override { return m_peer->m_httpStatus; }

private:
    template<typename Work>
    void later(Work work) {
        QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
    }

    std::shared_ptr<Peer> m_peer;
};

// Connections without a network: each waits for the test to open it or let it fail.
class FakeWebSocketFactory : public platform::WebSocketFactory {
public:
    std::unique_ptr<platform::WebSocketTask> makeTask(QUrl url, qint64) override {
        m_peers.push_back(std::make_shared<FakeWebSocketPeer>(std::move(url), count() + 1));
        return std::make_unique<FakeWebSocketTask>(m_peers.back());
    }

    int count() const { return static_cast<int>(m_peers.size()); }
    // In the order of their making.
    FakeWebSocketPeer& peer(int index) const { return *m_peers.at(static_cast<size_t>(index)); }
    FakeWebSocketPeer& last() const { return *m_peers.back(); }

private:
    std::vector<std::shared_ptr<FakeWebSocketPeer>> m_peers;
};
