#pragma once

#include "tests/Platform/Network/RawServer.h"

#include <QCryptographicHash>
#include <QtEndian>

// The server's end of one WebSocket, framed by hand so that it can also do what no library would.
class WebSocketPeer : public QObject {
public:
    enum Opcode { continuation = 0, text = 1, binary = 2, close = 8, ping = 9, pong = 10 };
    struct Frame {
        int opcode;
        QByteArray payload;
    };

    // Answers the upgrade.
    WebSocketPeer(QSslSocket* socket, const QByteArray& request)
        : QObject(socket)
        , m_socket(socket) {
        const auto key =
            headerOf(request, "sec-websocket-key").value_or("") + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
        const auto accept = QCryptographicHash::hash(key, QCryptographicHash::Sha1).toBase64();
        socket->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                      "Sec-WebSocket-Accept: " +
                      accept + "\r\n\r\n");
        connect(socket, &QSslSocket::readyRead, this, &WebSocketPeer::read);
        connect(socket, &QSslSocket::disconnected, this, [this] { m_connected = false; });
        socket->QObject::disconnect(socket, nullptr, socket, nullptr); // kept for what the test asks later
    }

    void send(int opcode, const QByteArray& payload, bool last = true) {
        QByteArray head(1, static_cast<char>((last ? 0x80 : 0) | opcode));
        const auto size = payload.size();
        if (size < 126) {
            head.append(static_cast<char>(size));
        } else if (size < 65536) {
            head.append(126).resize(4);
            qToBigEndian(static_cast<quint16>(size), head.data() + 2);
        } else {
            head.append(127).resize(10);
            qToBigEndian(static_cast<quint64>(size), head.data() + 2);
        }
        m_socket->write(head + payload);
    }
    qint64 unsentBytes() const { return m_socket->bytesToWrite() + m_socket->encryptedBytesToWrite(); }
    void setReading(bool reading) {
        m_socket->setReadBufferSize(reading ? 0 : 1024);
        m_socket->blockSignals(!reading);
        if (reading) {
            read();
        }
    }
    bool isConnected() const { return m_connected; }
    QList<QByteArray> payloadsOf(int opcode) const {
        QList<QByteArray> payloads;
        for (const auto& frame : frames) {
            if (frame.opcode == opcode) {
                payloads.append(frame.payload);
            }
        }
        return payloads;
    }
    // The code of the close frame that came; 0: none yet.
    int closeCode() const {
        const auto payloads = payloadsOf(close);
        return payloads.isEmpty() || payloads.first().size() < 2
                   ? 0
                   : qFromBigEndian<quint16>(payloads.first().constData());
    }

    QList<Frame> frames;
    // Instead of keeping the frame, if set.
    std::function<void(const Frame&)> onFrame;
    bool echoes = false;
    bool answersPings = true;
    bool answersClose = true;

private:
    void read() {
        m_bytes += m_socket->readAll();
        while (takeFrame()) {
        }
    }
    bool takeFrame() {
        if (m_bytes.size() < 2) {
            return false;
        }
        const auto* bytes = reinterpret_cast<const uchar*>(m_bytes.constData());
        const int lengthCode = bytes[1] & 0x7f;
        const qsizetype lengthBytes = lengthCode == 126 ? 2 : lengthCode == 127 ? 8 : 0;
        const qsizetype head = 2 + lengthBytes + 4; // a client masks
        if (m_bytes.size() < head) {
            return false;
        }
        const auto size = lengthBytes == 2   ? qFromBigEndian<quint16>(bytes + 2)
                          : lengthBytes == 8 ? static_cast<qsizetype>(qFromBigEndian<quint64>(bytes + 2))
                                             : lengthCode;
        if (m_bytes.size() < head + size) {
            return false;
        }
        Frame frame{bytes[0] & 0x0f, m_bytes.mid(head, size)};
        auto* data = frame.payload.data();
        for (qsizetype i = 0; i < size; ++i) {
            data[i] = static_cast<char>(data[i] ^ bytes[head - 4 + i % 4]);
        }
        m_bytes.remove(0, head + size);
        if (onFrame) {
            onFrame(frame);
        } else {
            frames.append(frame);
        }
        react(frame);
        return true;
    }
    void react(const Frame& frame) {
        if (frame.opcode == ping && answersPings) {
            send(pong, frame.payload);
        } else if (frame.opcode == close && answersClose) {
            send(close, frame.payload);
            m_socket->disconnectFromHost();
        } else if ((frame.opcode == text || frame.opcode == binary) && echoes) {
            send(frame.opcode, frame.payload);
        }
    }

    QSslSocket* m_socket;
    QByteArray m_bytes;
    bool m_connected = true;
};

// Accepts every upgrade.
class WebSocketServer : public RawServer {
public:
    explicit WebSocketServer(std::optional<QSslConfiguration> tls = {})
        : RawServer(tls)
        , m_encrypted(tls) {
        onRequest = [this](QSslSocket* socket, const QByteArray& request) {
            peers.append(new WebSocketPeer(socket, request));
        };
    }
    QUrl wsUrl(const QByteArray& pathAndQuery = "/") const {
        return url(m_encrypted ? "wss" : "ws", pathAndQuery);
    }

    QList<WebSocketPeer*> peers;

private:
    bool m_encrypted;
};
