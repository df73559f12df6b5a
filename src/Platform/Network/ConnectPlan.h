#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkProxy>
#include <QString>
#include <QUrl>

#include <chrono>

namespace platform {

// Where and how to connect, determined on the main thread when a connection starts.
struct ConnectPlan {
    QByteArray host = {}; // ASCII, an IPv6 address without brackets
    quint16 port = 0;
    QByteArray hostHeader = {};
    QByteArray target = {}; // path and query, encoded
    bool encrypted = false;
    QString rootsFile = {}; // empty for the system's store
    // `tunnel` and `forwarding` are HTTP proxies: the first connects to the server, the second gets the
    // request itself.
    enum class Proxy { none, tunnel, forwarding, socks5 };
    Proxy proxy = Proxy::none;
    QByteArray proxyHost = {};
    quint16 proxyPort = 0;
    QByteArray proxyCredentials = {}; // "user:password"; empty: none

    QString hostText() const { return QString::fromLatin1(host); }
};

// Plans the connection to an http, https, ws or wss address through the first usable one of the system's
// proxies. Throws WebSocketError if none is usable.
ConnectPlan planConnection(const QUrl& url, const QList<QNetworkProxy>& proxies);

} // namespace platform
