#pragma once

#include <QSslConfiguration>
#include <QSslSocket>
#include <QTcpServer>

#include <functional>
#include <optional>

// A loopback server that keeps the exact bytes of each request and answers with the bytes it is told.
class RawServer : public QTcpServer {
public:
    explicit RawServer(std::optional<QSslConfiguration> tls = {});

    QString authority() const; // localhost:port
    QUrl url(const QString& scheme, const QByteArray& pathAndQuery = "/") const;

    // What each complete request (head and Content-Length bytes) is answered with.
    QByteArray reply = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";
    bool closeAfterReply = false;
    // Instead of `reply`, if set. Takes over the socket: nothing more is recorded.
    std::function<void(QSslSocket*, const QByteArray& request)> onRequest;

    QList<QByteArray> requests;

protected:
    void incomingConnection(qintptr handle) override;

private:
    void read(QSslSocket* socket);

    std::optional<QSslConfiguration> m_tls;
};

// The value of a header in the recorded bytes, by its name in lower case; nothing when absent.
std::optional<QByteArray> headerOf(const QByteArray& request, const QByteArray& name);
QList<QByteArray> headerNamesOf(const QByteArray& request);

// An environment variable for the length of a test.
class EnvironmentOverride {
public:
    EnvironmentOverride(const char* name, const QByteArray& value);
    ~EnvironmentOverride();

private:
    const char* m_name;
    QByteArray m_before;
};
