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
    // Bytes received plus bytes acknowledged by the peer's system. Increases while anything gets through.
    quint64 bytesThrough = 0;
    // False if this machine has no route to the peer.
    bool hasRoute = true;
};

// One WebSocket connection, from resume() to its end; never reused. Everything runs on the main thread unless
// stated otherwise, and the network itself on the process's network thread. Handlers are queued to the main
// thread and are not called any more once the task is destroyed.
class WebSocketTask : public QObject {
    Q_OBJECT

public:
    // Gets a null pointer on success. Called once.
    using DoneHandler = std::function<void(std::exception_ptr)>;
    // Gets the message, or the reason why there will be none.
    using ReceiveHandler = std::function<void(std::optional<WebSocketMessage>, std::exception_ptr)>;

    using HealthHandler = std::function<void(ConnectionHealth)>;

    enum class Payload { text, binary };

    ~WebSocketTask() override = default;

    // Returns a number above 0 that is unique in the process. Any thread.
    virtual int identifier() const = 0;
    // Starts the connection. Emits opened(), or completed() with the error.
    virtual void resume() = 0;
    // Closes an open connection with the code, or drops one that is not open yet. Pending sends fail with
    // `cancelled`.
    virtual void cancel(int closeCode) = 0;
    // Sends a frame. Any thread. Binary frames are sent in the order of the calls, of all threads, and so are
    // text frames; a text frame that would wait for more than a second of binary frames overtakes them. A
    // binary frame that waits too long, or behind too many bytes, fails with `congested`. `done` runs on the
    // network thread, or on the caller's if the task cannot send any more: keep it short and hop.
    virtual void send(Payload kind, QByteArray payload, DoneHandler done) = 0;
    // Requests one message; request the next only after the handler has run. Messages wait, within a limit,
    // until they are requested.
    virtual void receive(ReceiveHandler handler) = 0;
    // Sends a ping. `pong` reports the answer, or an error if the connection ends first.
    virtual void sendPing(DoneHandler pong) = 0;
    virtual void readHealth(HealthHandler handler) = 0;
    // Returns the status of the response to the upgrade request, or 0 while there is none.
    virtual int httpStatus() const = 0;

Q_SIGNALS:
    void opened();
    // The peer sent a close frame with this code; 1005 when it gave none, 1006 when the connection broke.
    void closed(int code);
    // Emitted at the end of every task that was not cancelled; without an error after a clean close.
    void completed(std::optional<platform::WebSocketError> error);
};

// Creates tasks. The proxy and the host name are looked up again for each; the certificate and the host name
// are verified as HttpClient does. The upgrade request carries no cookie, no subprotocol and no header beyond
// those of RFC 6455.
class WebSocketFactory {
public:
    virtual ~WebSocketFactory() = default;

    // `maxMessageBytes` limits an incoming message; a larger one ends the connection with `tooLarge` (close
    // code 1009).
    virtual std::unique_ptr<WebSocketTask> makeTask(QUrl url, qint64 maxMessageBytes) = 0;
};

std::unique_ptr<WebSocketFactory> makeWebSocketFactory();

} // namespace platform
