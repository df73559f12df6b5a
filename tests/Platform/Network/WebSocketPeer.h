#pragma once

#include "RawServer.h"

// The server's end of one WebSocket, framed by hand so that it can also do what no library would.
class WebSocketPeer : public QObject {
public:
    enum Opcode { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };
    struct Frame {
        int opcode;
        QByteArray payload;
    };

    // Answers the upgrade.
    WebSocketPeer(QSslSocket* socket, const QByteArray& request);

    void send(int opcode, const QByteArray& payload, bool last = true);
    void drop() { m_socket->abort(); }
    qint64 unsentBytes() const { return m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite(); }
    void setReading(bool reading);
    bool isConnected() const { return m_connected; }
    QList<QByteArray> payloadsOf(int opcode) const;
    // The code of the close frame that came; 0: none yet.
    int closeCode() const;

    QList<Frame> frames;
    // Instead of keeping the frame, if set.
    std::function<void(const Frame&)> onFrame;
    bool echoes = false;
    bool answersPings = true;
    bool answersClose = true;

private:
    void read();
    bool takeFrame();
    void react(const Frame& frame);

    QSslSocket* m_socket;
    QByteArray m_bytes;
    bool m_connected = true;
};

// Accepts every upgrade.
class WebSocketServer : public RawServer {
public:
    explicit WebSocketServer(std::optional<QSslConfiguration> tls = {});
    QUrl wsUrl(const QByteArray& pathAndQuery = "/") const {
        return url(m_encrypted ? "wss" : "ws", pathAndQuery);
    }

    QList<WebSocketPeer*> peers;

private:
    bool m_encrypted;
};
