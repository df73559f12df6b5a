#pragma once

#include "tests/Support/EnvironmentOverride.h"

#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>
#include <QUrl>

#include <functional>
#include <optional>

// The value of a header in the recorded bytes, by its name in lower case; nothing when absent.
inline std::optional<QByteArray> headerOf(const QByteArray& request, const QByteArray& name) {
    for (const auto& line : request.left(request.indexOf("\r\n\r\n")).split('\n')) {
        if (line.toLower().startsWith(name + ':')) {
            return line.mid(name.size() + 1).trimmed();
        }
    }
    return std::nullopt;
}

inline QByteArrayList headerNamesOf(const QByteArray& request) {
    QByteArrayList names;
    for (const auto& line : request.left(request.indexOf("\r\n\r\n")).split('\n').mid(1)) {
        names.append(line.left(line.indexOf(':')).toLower());
    }
    return names;
}

// A loopback server that keeps the exact bytes of each request and answers with the bytes it is told.
class RawServer : public QTcpServer {
public:
    explicit RawServer(std::optional<QSslConfiguration> tls = {})
        : m_tls(std::move(tls)) {
        if (!listen(QHostAddress::LocalHost)) {
            qFatal("cannot listen on loopback");
        }
    }

    QString authority() const { return QStringLiteral("localhost:%1").arg(serverPort()); } // localhost:port
    QUrl url(const QString& scheme, const QByteArray& pathAndQuery = "/") const {
        return QUrl::fromEncoded((scheme + QStringLiteral("://") + authority()).toLatin1() + pathAndQuery);
    }

    // What each complete request (head and Content-Length bytes) is answered with.
    QByteArray reply = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    bool closeAfterReply = false;
    // Instead of `reply`, if set. Takes over the socket: nothing more is recorded.
    std::function<void(QSslSocket*, const QByteArray& request)> onRequest;

    QList<QByteArray> requests;

protected:
    void incomingConnection(qintptr handle) override {
        auto* socket = new QSslSocket(this);
        socket->setSocketDescriptor(handle);
        connect(socket, &QSslSocket::readyRead, this, [this, socket] { read(socket); });
        connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
        if (m_tls) {
            socket->setSslConfiguration(*m_tls);
            socket->startServerEncryption();
        }
    }

private:
    void read(QSslSocket* socket) {
        const auto bytes = socket->peek(socket->bytesAvailable());
        const auto head = bytes.indexOf("\r\n\r\n");
        const auto length = head + 4 + headerOf(bytes, "content-length").value_or("0").toLongLong();
        if (head < 0 || bytes.size() < length) {
            return;
        }
        const auto request = socket->read(length);
        requests.append(request);
        if (onRequest) {
            socket->disconnect(this);
            onRequest(socket, request);
            return;
        }
        socket->write(reply);
        if (closeAfterReply) {
            socket->disconnectFromHost();
        }
    }

    std::optional<QSslConfiguration> m_tls;
};
