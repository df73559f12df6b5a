#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QUrl>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

namespace platform {

class WebSocketError : public std::runtime_error {
public:
    enum class Kind {
        notConnected,
        cancelled,
        timedOut,
        hostNotFound,
        cannotConnect,
        connectionLost,
        tlsFailed,
        proxyFailed,
        upgradeRefused,
        tooLarge,
        protocol,
        congested
    };

    WebSocketError(Kind kind, const QString& text)
        : std::runtime_error(text.toStdString())
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

struct WebSocketMessage {
    bool isText = true;
    QByteArray payload;
};

// What the system knows of an open connection without asking the peer.
struct ConnectionHealth {
    // Received, and acknowledged by the other side's system. Rises while anything gets through.
    quint64 bytesThrough = 0;
    // False: packets for the peer have no way out of this machine.
    bool hasRoute = true;
};

// One WebSocket connection, from resume() to its end; never reused. Everything runs on the main thread unless
// said otherwise; the network itself on the process's one network thread. Handlers are queued to the main
// thread and are not called any more once the task is destroyed.
class WebSocketTask : public QObject {
    Q_OBJECT

public:
    // Null: success. Called once.
    using DoneHandler = std::function<void(std::exception_ptr)>;
    // The message, or the reason why there will be none.
    using ReceiveHandler = std::function<void(std::optional<WebSocketMessage>, std::exception_ptr)>;

    using HealthHandler = std::function<void(ConnectionHealth)>;

    enum class Payload { text, binary };

    ~WebSocketTask() override = default;

    // Unique in the process, above 0. Any thread.
    virtual int identifier() const = 0;
    // Starts the connection. Emits opened(), or completed() with what went wrong.
    virtual void resume() = 0;
    // Closes with the code if open, drops the connection otherwise. Sends under way fail with `cancelled`.
    virtual void cancel(int closeCode) = 0;
    // Any thread. Binary frames leave in the order of the calls, of all threads, and so do text frames; a
    // text frame that would wait for more than a second of binary ones leaves before them. A binary frame
    // that waits too long, or behind too many bytes, fails with `congested`. `done` runs on the network
    // thread, or on the caller's if the task cannot send any more: keep it short and hop.
    virtual void send(Payload kind, QByteArray payload, DoneHandler done) = 0;
    // Arms one receive; the next one only after its handler ran. Messages wait, within a bound, until asked
    // for.
    virtual void receive(ReceiveHandler handler) = 0;
    // `pong` reports the answer, or an error when the connection ends before one came.
    virtual void sendPing(DoneHandler pong) = 0;
    virtual void readHealth(HealthHandler handler) = 0;
    // Status of the answer to the upgrade request; 0 as long as there is none.
    virtual int httpStatus() const = 0;

Q_SIGNALS:
    void opened();
    // The peer sent a close frame with this code; 1005 when it gave none, 1006 when the connection broke.
    void closed(int code);
    // The end of every task that was not cancelled: without an error after a clean close.
    void completed(std::optional<platform::WebSocketError> error);
};

// Makes tasks. Proxy and host name are looked up anew for each; certificate and host name are verified as
// HttpClient does. The upgrade request carries no cookie, no subprotocol and no header beyond RFC 6455's.
class WebSocketFactory {
public:
    virtual ~WebSocketFactory() = default;

    // `maxMessageBytes` bounds one incoming message; a larger one ends the connection with `tooLarge` (close
    // 1009).
    virtual std::unique_ptr<WebSocketTask> makeTask(QUrl url, qint64 maxMessageBytes) = 0;
};

std::unique_ptr<WebSocketFactory> makeWebSocketFactory();

} // namespace platform
