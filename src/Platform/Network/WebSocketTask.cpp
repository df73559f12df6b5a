#include "Platform/Network/WebSocketTask.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Core/Tasks.h"
#include "Platform/Network/NetworkThread.h"
#include "Platform/Network/ProxyLookup.h"
#include "Platform/Network/WebSocketConnection.h"
#include "Platform/Network/WebSocketMailbox.h"

#include <QCoroTask>
#include <QPointer>

#include <atomic>
#include <deque>

namespace platform {

namespace {

using Kind = WebSocketError::Kind;

// The number of messages delivered in one turn of the event loop, so that a flood leaves room for the rest.
constexpr int messagesInATurn = 64;

int nextIdentifier() {
    static std::atomic<int> last = 0;
    return ++last;
}

// Returns the web address for which the system is asked for a proxy.
QUrl httpUrl(QUrl url) {
    url.setScheme(url.scheme() == QStringLiteral("wss") ? QStringLiteral("https") : QStringLiteral("http"));
    url.setQuery(QString()); // it contains the token
    return url;
}

void requireWebSocketAddress(const QUrl& url) {
    const bool isSocket = url.scheme() == QStringLiteral("wss") || url.scheme() == QStringLiteral("ws");
    if (url.host().isEmpty() || !isSocket) {
        throw WebSocketError(Kind::cannotConnect, QStringLiteral("This is not a WebSocket address."));
    }
}

class SocketTask : public WebSocketTask {
public:
    SocketTask(std::shared_ptr<NetworkThread> thread, QUrl url, qint64 maxMessageBytes)
        : m_url(std::move(url))
        , m_maxMessageBytes(maxMessageBytes)
        , m_thread(std::move(thread))
        , m_mailbox(std::make_shared<WebSocketMailbox>([this] { takeMail(); }))
        , m_connection(WebSocketConnection::make(*m_thread, m_mailbox)) {}

    ~SocketTask() override {
        m_mailbox->close();
        if (!m_cancelled) {
            m_connection->cancel(1001);
        }
    }

    int identifier() const override { return m_identifier; }
    int httpStatus() const override { return m_httpStatus; }

    void resume() override;
    void cancel(int closeCode) override;
    void send(Payload kind, QByteArray payload, DoneHandler done) override {
        m_connection->send(kind, std::move(payload), std::move(done));
    }
    void receive(ReceiveHandler handler) override;
    void sendPing(DoneHandler pong) override;
    void readHealth(HealthHandler handler) override;

private:
    struct Ping {
        quint32 id;
        DoneHandler pong;
    };

    QCoro::Task<void> start();
    void takeMail();
    // Returns false if there is no handler or no message.
    bool takeMessage();
    void finish(const WebSocketEnd& end);
    void failHandlers();
    void later(std::function<void()> work) { dispatchToMain(this, std::move(work)); }

    const int m_identifier = nextIdentifier();
    const QUrl m_url;
    const qint64 m_maxMessageBytes;
    // Outlives the connection's use of it.
    const std::shared_ptr<NetworkThread> m_thread;
    const std::shared_ptr<WebSocketMailbox> m_mailbox;
    const std::shared_ptr<WebSocketConnection> m_connection;
    ReceiveHandler m_receive;
    std::deque<Ping> m_pings;
    quint32 m_lastPing = 0;
    int m_httpStatus = 0;
    bool m_openedReported = false;
    bool m_cancelled = false;
    // Why nothing can be received or pinged any more; nullopt while it can.
    std::optional<WebSocketError> m_over;
    OperationScope m_scope;
};

void SocketTask::resume() {
    startTask(start(), "socket");
}

QCoro::Task<void> SocketTask::start() {
    const auto ticket = m_scope.ticket();
    try {
        requireWebSocketAddress(m_url);
        auto lookup = systemProxies(httpUrl(m_url));
        const auto proxies = co_await std::move(lookup);
        ticket.ensureCurrent();
        m_connection->start(planConnection(m_url, proxies), m_maxMessageBytes);
    } catch (const WebSocketError& error) {
        m_connection->cancel(1001);
        later([this, error] { finish({error, {}, 0}); });
    }
}

void SocketTask::cancel(int closeCode) {
    if (std::exchange(m_cancelled, true)) {
        return;
    }
    m_scope.cancel();
    m_mailbox->close();
    m_connection->cancel(closeCode);
    if (!m_over) {
        m_over.emplace(Kind::cancelled, QStringLiteral("The connection was closed."));
        later([this] { failHandlers(); });
    }
}

void SocketTask::receive(ReceiveHandler handler) {
    m_receive = std::move(handler);
    if (m_over) {
        later([this] { failHandlers(); });
    } else if (m_mailbox->hasMessage()) {
        later([this] { takeMail(); });
    }
}

void SocketTask::sendPing(DoneHandler pong) {
    m_pings.push_back({++m_lastPing, std::move(pong)});
    if (m_over) {
        later([this] { failHandlers(); });
    } else {
        m_connection->ping(m_lastPing);
    }
}

void SocketTask::readHealth(HealthHandler handler) {
    m_connection->readHealth(
        [ticket = m_scope.ticket(), handler = std::move(handler)](ConnectionHealth health) {
            dispatchToMain([ticket, handler, health] {
                if (ticket.isCurrent()) {
                    handler(health);
                }
            });
        });
}

// Any handler that is called from here may destroy or cancel the task.
void SocketTask::takeMail() {
    const QPointer alive(this);
    const auto goesOn = [&alive] { return alive && !alive->m_over; };
    if (!goesOn()) {
        return;
    }
    if (!m_openedReported && m_mailbox->isOpened()) {
        m_openedReported = true;
        m_httpStatus = 101;
        Q_EMIT opened();
    }
    while (goesOn() && !m_pings.empty() && m_pings.front().id <= m_mailbox->lastPong()) {
        const auto pong = std::move(m_pings.front().pong);
        m_pings.pop_front();
        pong(nullptr);
    }
    if (!goesOn()) {
        return;
    }
    const auto end = m_mailbox->end(); // read before the messages, all of which came before it
    for (int i = 0; i < messagesInATurn && goesOn() && takeMessage(); ++i) {
    }
    if (!goesOn()) {
        return;
    }
    if (m_receive && m_mailbox->hasMessage()) {
        later([this] { takeMail(); });
    } else if (end) {
        finish(*end);
    }
}

bool SocketTask::takeMessage() {
    if (!m_receive) {
        return false;
    }
    bool mayReadOn = false;
    auto message = m_mailbox->takeMessage(mayReadOn);
    if (mayReadOn) {
        m_connection->resumeReading();
    }
    if (!message) {
        return false;
    }
    const auto handler = std::exchange(m_receive, nullptr);
    handler(std::move(message), nullptr);
    return true;
}

void SocketTask::finish(const WebSocketEnd& end) {
    if (m_over) {
        return;
    }
    m_over = end.error.value_or(
        WebSocketError(Kind::notConnected, QStringLiteral("The server closed the connection.")));
    if (end.httpStatus != 0) {
        m_httpStatus = end.httpStatus;
    }
    const QPointer alive(this);
    if (end.closeCode) {
        Q_EMIT closed(*end.closeCode);
    }
    if (alive && !m_cancelled) {
        failHandlers();
    }
    if (alive && !m_cancelled) {
        Q_EMIT completed(end.error);
    }
}

void SocketTask::failHandlers() {
    const auto error = std::make_exception_ptr(*m_over);
    const auto receive = std::exchange(m_receive, nullptr);
    const auto pings = std::exchange(m_pings, {});
    const QPointer alive(this);
    if (receive) {
        receive(std::nullopt, error);
    }
    for (const auto& ping : pings) {
        if (alive) {
            ping.pong(error);
        }
    }
}

class SocketFactory : public WebSocketFactory {
public:
    std::unique_ptr<WebSocketTask> makeTask(QUrl url, qint64 maxMessageBytes) override {
        return std::make_unique<SocketTask>(m_thread->shared_from_this(), std::move(url), maxMessageBytes);
    }

private:
    // The thread ends with its last factory. A task that lives longer is inert.
    const std::shared_ptr<NetworkThread> m_thread = NetworkThread::shared();
};

} // namespace

std::unique_ptr<WebSocketFactory> makeWebSocketFactory() {
    return std::make_unique<SocketFactory>();
}

} // namespace platform
