#include "RawServer.h"

#include <QUrl>

namespace {

// Length of the first complete request in the bytes; 0 as long as there is none.
qsizetype requestLength(const QByteArray& bytes) {
    const auto head = bytes.indexOf("\r\n\r\n");
    if (head < 0) {
        return 0;
    }
    const auto length = head + 4 + headerOf(bytes, "content-length").value_or("0").toLongLong();
    return bytes.size() < length ? 0 : length;
}

} // namespace

RawServer::RawServer(std::optional<QSslConfiguration> tls)
    : m_tls(std::move(tls)) {
    if (!listen(QHostAddress::LocalHost)) {
        qFatal("cannot listen on loopback");
    }
}

QString RawServer::authority() const {
    return QStringLiteral("localhost:%1").arg(serverPort());
}

QUrl RawServer::url(const QString& scheme, const QByteArray& pathAndQuery) const {
    return QUrl::fromEncoded((scheme + QStringLiteral("://") + authority()).toLatin1() + pathAndQuery);
}

void RawServer::incomingConnection(qintptr handle) {
    auto* socket = new QSslSocket(this);
    socket->setSocketDescriptor(handle);
    connect(socket, &QSslSocket::readyRead, this, [this, socket] { read(socket); });
    connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
    if (m_tls) {
        socket->setSslConfiguration(*m_tls);
        socket->startServerEncryption();
    }
}

void RawServer::read(QSslSocket* socket) {
    const auto bytes = socket->peek(socket->bytesAvailable());
    const auto length = requestLength(bytes);
    if (length == 0) {
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

QList<QByteArray> headerNamesOf(const QByteArray& request) {
    QList<QByteArray> names;
    const auto lines = request.left(request.indexOf("\r\n\r\n")).split('\n');
    for (const auto& line : lines.mid(1)) {
        names.append(line.left(line.indexOf(':')).toLower());
    }
    return names;
}

std::optional<QByteArray> headerOf(const QByteArray& request, const QByteArray& name) {
    for (const auto& line : request.left(request.indexOf("\r\n\r\n")).split('\n')) {
        if (line.toLower().startsWith(name + ':')) {
            return line.mid(name.size() + 1).trimmed();
        }
    }
    return std::nullopt;
}

EnvironmentOverride::EnvironmentOverride(const char* name, const QByteArray& value)
    : m_name(name)
    , m_before(qgetenv(name)) {
    qputenv(name, value);
}

EnvironmentOverride::~EnvironmentOverride() {
    if (m_before.isNull()) {
        qunsetenv(m_name);
    } else {
        qputenv(m_name, m_before);
    }
}
