#pragma once

#include <QString>

// Sentences for the user about a connection that failed, worded alike for HTTP and WebSocket.
namespace platform::networkText {

QString hostNotFound(const QString& host);
QString cannotConnect(const QString& host, const QString& reason);
QString connectionLost(const QString& host);
QString timedOut(const QString& host);
// The certificate was refused; `reason` is the TLS library's text.
QString certificateRefused(const QString& host, const QString& reason);
QString tlsFailed(const QString& host, const QString& reason);
QString proxyFailed(const QString& proxy, const QString& reason);
QString tooLarge(const QString& host, qint64 limitBytes);
QString notHttp(const QString& host);
QString notWebSocket(const QString& host);
// The server answered with this status instead of the upgrade.
QString upgradeRefused(int status, bool webPage);
// The network does not carry the data as fast as it is sent.
QString congested(const QString& host);
QString protocolBroken(const QString& host, const QString& reason);

} // namespace platform::networkText
