#include "tests/Support/FakeWebSocket.h"

#include <QMetaObject>

#include <thread>

using platform::WebSocketError;
using platform::WebSocketMessage;

QList<QByteArray> FakeWebSocketPeer::sent(bool isText) const {
    const std::lock_guard lock(m_mutex);
    QList<QByteArray> payloads;
    for (const auto& message : m_sent) {
        if (message.isText == isText) {
            payloads.append(message.payload);
        }
    }
    return payloads;
}

void FakeWebSocketPeer::open() {
    m_httpStatus = 101;
    if (m_task) {
        Q_EMIT m_task->opened();
    }
}

void FakeWebSocketPeer::close(int code) {
    if (m_task) {
        Q_EMIT m_task->closed(code);
    }
}

void FakeWebSocketPeer::complete(std::optional<WebSocketError> error, int httpStatus) {
    if (httpStatus != 0) {
        m_httpStatus = httpStatus;
    }
    end(error.value_or(WebSocketError(ErrorKind::notConnected, "The server closed the connection.")));
    if (m_task) {
        Q_EMIT m_task->completed(std::move(error));
    }
}

void FakeWebSocketPeer::breakConnection() {
    const WebSocketError lost(ErrorKind::connectionLost, "The connection was lost.");
    end(lost);
    close(1006);
    complete(lost);
}

void FakeWebSocketPeer::end(const WebSocketError& why) {
    {
        const std::lock_guard lock(m_mutex);
        if (!m_over) {
            m_over = why;
            m_receiveError = std::make_exception_ptr(why);
        }
    }
    pump();
}

void FakeWebSocketPeer::setSendError(std::optional<WebSocketError> error) {
    const std::lock_guard lock(m_mutex);
    m_sendError = std::move(error);
}

void FakeWebSocketPeer::deliver(WebSocketMessage message) {
    m_incoming.push_back(std::move(message));
    pump();
}

void FakeWebSocketPeer::pump() {
    while (m_task && m_receive && !m_incoming.empty()) {
        auto message = std::move(m_incoming.front());
        m_incoming.pop_front();
        std::exchange(m_receive, nullptr)(std::move(message), nullptr);
    }
    if (m_task && m_receive && m_receiveError) {
        std::exchange(m_receive, nullptr)(std::nullopt, m_receiveError);
    }
}

FakeWebSocketTask::FakeWebSocketTask(std::shared_ptr<FakeWebSocketPeer> peer)
    : m_peer(std::move(peer)) {
    m_peer->m_task = this;
}

void FakeWebSocketTask::resume() {
    m_peer->m_resumed = true;
    const auto& url = m_peer->url;
    const bool isSocket = url.scheme() == QStringLiteral("wss") || url.scheme() == QStringLiteral("ws");
    if (!isSocket || url.host().isEmpty()) {
        QMetaObject::invokeMethod(
            this,
            [peer = m_peer] {
                peer->complete(WebSocketError(FakeWebSocketPeer::ErrorKind::cannotConnect, "no address"));
            },
            Qt::QueuedConnection);
    }
}

void FakeWebSocketTask::cancel(int closeCode) {
    m_peer->m_cancelCode = closeCode;
    // As the real one, it tells the armed receive from the event loop, if it still lives then.
    QMetaObject::invokeMethod(
        this,
        [peer = m_peer] { peer->end(WebSocketError(FakeWebSocketPeer::ErrorKind::cancelled, "cancelled")); },
        Qt::QueuedConnection);
}

void FakeWebSocketTask::send(Payload kind, QByteArray payload, DoneHandler done) {
    std::optional<WebSocketError> error;
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

void FakeWebSocketTask::receive(ReceiveHandler handler) {
    m_peer->m_receive = std::move(handler);
    QMetaObject::invokeMethod(
        this, [peer = m_peer] { peer->pump(); }, Qt::QueuedConnection);
}

void FakeWebSocketTask::sendPing(DoneHandler pong) {
    ++m_peer->m_pingCount;
    if (m_peer->m_answersPings) {
        QMetaObject::invokeMethod(
            this, [pong] { pong(nullptr); }, Qt::QueuedConnection);
    }
}

void FakeWebSocketTask::readHealth(HealthHandler handler) {
    QMetaObject::invokeMethod(
        this, [peer = m_peer, handler = std::move(handler)] { handler(peer->m_signs); },
        Qt::QueuedConnection);
}

std::unique_ptr<platform::WebSocketTask> FakeWebSocketFactory::makeTask(QUrl url, qint64) {
    const auto identifier = static_cast<int>(m_peers.size()) + 1;
    m_peers.push_back(std::make_shared<FakeWebSocketPeer>(std::move(url), identifier));
    return std::make_unique<FakeWebSocketTask>(m_peers.back());
}
