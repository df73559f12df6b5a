#include "Platform/Network/NetworkText.h"

namespace platform::networkText {

namespace {

// Library texts come with or without a full stop, and some are empty.
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
    return withReason(QStringLiteral("Could not connect to %1").arg(host), reason) +
           QStringLiteral(" Check the network, then try again.");
}

QString connectionLost(const QString& host) {
    return QStringLiteral("The connection to %1 was lost. Try again.").arg(host);
}

QString timedOut(const QString& host) {
    return QStringLiteral("%1 did not answer in time. Try again.").arg(host);
}

QString certificateRefused(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("The certificate of %1 cannot be trusted").arg(host), reason) +
           QStringLiteral(" Check the date of this computer, or contact the administrator of this network.");
}

QString tlsFailed(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("No secure connection to %1 could be made").arg(host), reason) +
           QStringLiteral(" Contact the administrator of this network.");
}

QString proxyFailed(const QString& proxy, const QString& reason) {
    return withReason(QStringLiteral("The proxy %1 failed").arg(proxy), reason) +
           QStringLiteral(" Check the proxy in the network settings.");
}

QString tooLarge(const QString& host, qint64 limitBytes) {
    return QStringLiteral("%1 sent more than the %2 bytes that are accepted.").arg(host).arg(limitBytes);
}

QString notHttp(const QString& host) {
    return QStringLiteral("%1 did not answer with HTTP. Check the address.").arg(host);
}

QString notWebSocket(const QString& host) {
    return QStringLiteral("%1 did not answer as a WebSocket server. Check the address.").arg(host);
}

QString upgradeRefused(int status, bool webPage) {
    if (status == 407) {
        return QStringLiteral(
            "A proxy on the way asks for a user name and a password (HTTP 407). Check the proxy in "
            "the network settings.");
    }
    return webPage
               ? QStringLiteral("The server answered with a web page (HTTP %1) and opened no connection. "
                                "Check the network for a page to sign in at.")
                     .arg(status)
               : QStringLiteral("The server refused the connection (HTTP %1). Try again later.").arg(status);
}

QString congested(const QString& host) {
    return QStringLiteral("The network is too slow for all the sound that is sent to %1.").arg(host);
}

QString protocolBroken(const QString& host, const QString& reason) {
    return withReason(QStringLiteral("%1 broke the WebSocket protocol").arg(host), reason);
}

} // namespace platform::networkText
