#include "NetworkText.h"

namespace platform::networkText {

namespace {

// Library texts come with and without a full stop, some with none at all.
QString withReason(const QString& sentence, QString reason) {
    while (reason.endsWith(u'.')) {
        reason.chop(1);
    }
    return reason.isEmpty() ? sentence + u'.' : sentence + QStringLiteral(": ") + reason + u'.';
}

} // namespace

QString hostNotFound(const QString& host) {
    return QStringLiteral("The server %1 was not found. Check the network connection.").arg(host);
}

QString cannotConnect(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("Could not connect to %1").arg(host), reason);
}

QString connectionLost(const QString& host) {
    return QStringLiteral("The connection to %1 was lost.").arg(host);
}

QString timedOut(const QString& host) {
    return QStringLiteral("%1 did not answer in time.").arg(host);
}

QString certificateRefused(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("The certificate of %1 cannot be trusted").arg(host), reason);
}

QString tlsFailed(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("No secure connection to %1 could be made").arg(host), reason);
}

QString proxyFailed(const QString& proxy, const QString& reason) {
    return withReason(QStringLiteral("The proxy %1 failed").arg(proxy), reason);
}

QString tooLarge(const QString& host, qint64 limitBytes) {
    return QStringLiteral("%1 sent more than the %2 bytes that are accepted.").arg(host).arg(limitBytes);
}

QString notHttp(const QString& host) {
    return QStringLiteral("The answer of %1 is not HTTP.").arg(host);
}

QString notWebSocket(const QString& host) {
    return QStringLiteral("The answer of %1 is not that of a WebSocket server.").arg(host);
}

QString upgradeRefused(int status, bool webPage) {
    return webPage ? QStringLiteral("The server answered with a web page (HTTP %1) and opened no connection.")
                         .arg(status)
                   : QStringLiteral("The server refused the connection (HTTP %1).").arg(status);
}

QString protocolBroken(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("%1 broke the WebSocket protocol").arg(host), reason);
}

} // namespace platform::networkText
