#include "Platform/Network/ProxyLookup.h"

#include "Platform/Core/Background.h"

#include <QNetworkProxyFactory>

namespace platform {

Completion<QList<QNetworkProxy>> systemProxies(const QUrl& url) {
    return inBackground([url] { return QNetworkProxyFactory::systemProxyForQuery(QNetworkProxyQuery(url)); });
}

} // namespace platform
