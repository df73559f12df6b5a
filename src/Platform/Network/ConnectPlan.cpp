#include "Platform/Network/ConnectPlan.h"

#include "Platform/Network/TlsRoots.h"
#include "Platform/Network/WebSocketTask.h"

namespace platform {

namespace {

using Proxy = ConnectPlan::Proxy;

QByteArray hostHeader(const QUrl& url, const QByteArray& host) {
    const auto name = host.contains(':') ? '[' + host + ']' : host;
    return url.port() < 0 ? name : name + ':' + QByteArray::number(url.port());
}

// Returns nullopt for a proxy that cannot be used.
std::optional<Proxy> wayThrough(const QNetworkProxy& proxy, const QUrl& url) {
    const bool isForwarded = url.scheme() == QStringLiteral("http");
    switch (proxy.type()) {
    case QNetworkProxy::NoProxy:
    case QNetworkProxy::DefaultProxy:
        return Proxy::none;
    case QNetworkProxy::HttpProxy:
        return isForwarded ? Proxy::forwarding : Proxy::tunnel;
    case QNetworkProxy::HttpCachingProxy:
        return isForwarded ? std::optional(Proxy::forwarding) : std::nullopt;
    case QNetworkProxy::Socks5Proxy:
        return Proxy::socks5;
    case QNetworkProxy::FtpCachingProxy:
        break;
    }
    return std::nullopt;
}

void planProxy(ConnectPlan& plan, const QUrl& url, const QList<QNetworkProxy>& proxies) {
    for (const auto& proxy : proxies) {
        const auto way = wayThrough(proxy, url);
        if (!way) {
            continue;
        }
        plan.proxy = *way;
        if (plan.proxy != Proxy::none) {
            plan.proxyHost = proxy.hostName().toLatin1();
            plan.proxyPort = proxy.port();
        }
        if (plan.proxy != Proxy::none && !proxy.user().isEmpty()) {
            plan.proxyCredentials = (proxy.user() + u':' + proxy.password()).toUtf8();
        }
        return;
    }
    if (!proxies.isEmpty()) {
        throw WebSocketError(
            WebSocketError::Kind::proxyFailed,
            QStringLiteral(
                "Only HTTP and SOCKS 5 proxies are supported, and the system names another kind."));
    }
}

} // namespace

ConnectPlan planConnection(const QUrl& url, const QList<QNetworkProxy>& proxies) {
    const bool encrypted = url.scheme() == QStringLiteral("wss") || url.scheme() == QStringLiteral("https");
    ConnectPlan plan;
    plan.host = url.host(QUrl::FullyEncoded).toLatin1();
    plan.port = static_cast<quint16>(url.port(encrypted ? 443 : 80));
    plan.hostHeader = hostHeader(url, plan.host);
    plan.target = url.path(QUrl::FullyEncoded).toLatin1();
    if (plan.target.isEmpty()) {
        plan.target = "/";
    }
    if (url.hasQuery()) {
        plan.target += '?' + url.query(QUrl::FullyEncoded).toLatin1();
    }
    plan.encrypted = encrypted;
    plan.rootsFile = tlsRoots::overridingFile();
    planProxy(plan, url, proxies);
    return plan;
}

} // namespace platform
