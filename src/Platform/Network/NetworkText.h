#pragma once

#include <QString>

// Sentences for the user about a connection that failed: one wording for HTTP and WebSocket.
namespace platform::networkText {

QString hostNotFound(const QString& host);
QString cannotConnect(const QString& host, const QString& reason);
QString connectionLost(const QString& host);
QString timedOut(const QString& host);
// The certificate was looked at and refused; `reason` is the TLS library's.
QString certificateRefused(const QString& host, const QString& reason);
QString tlsFailed(const QString& host, const QString& reason);
QString proxyFailed(const QString& proxy, const QString& reason);
QString tooLarge(const QString& host, qint64 limitBytes);
QString notHttp(const QString& host);
QString notWebSocket(const QString& host);
// An answer with a status in place of the upgrade.
QString upgradeRefused(int status, bool webPage);
// The network does not take what is to be sent as fast as it comes.
QString congested(const QString& host);
QString protocolBroken(const QString& host, const QString& reason);

} // namespace platform::networkText
