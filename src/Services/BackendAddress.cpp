#include "Services/BackendAddress.h"

#include "Platform/Core/Log.h"

#include <QHostAddress>

namespace corvane {

namespace {

bool isThisMachine(const QString& host) {
    return host == QLatin1String("localhost") || QHostAddress(host).isLoopback();
}

QUrl socketAddress(QString baseURL) {
    baseURL.replace(QLatin1String("https://"), QLatin1String("wss://"));
    baseURL.replace(QLatin1String("http://"), QLatin1String("ws://"));
    return QUrl(baseURL + QLatin1String("/ws"), QUrl::StrictMode);
}

} // namespace

QUrl webSocketUrl(const QString& baseURL, const platform::Secret& token) {
    auto url = socketAddress(baseURL);
    if (!url.isValid()) {
        platform::logLine(QStringLiteral("[WS] Invalid URL"));
        return {};
    }
    if (url.scheme() == QLatin1String("ws") && !isThisMachine(url.host())) {
        platform::logLine(
            QStringLiteral("[WS] %1 is reached without encryption: anyone on the way can read the sound "
                           "and the session token. Set an https address.")
                .arg(url.host()));
    }
    // Everything but unreserved characters is escaped: many servers read a bare plus sign as a blank.
    url.setQuery(QStringLiteral("token=") + QString::fromLatin1(QUrl::toPercentEncoding(token.reveal())),
                 QUrl::StrictMode);
    return url;
}

std::optional<QString> addressFault(const QString& baseURL) {
    const auto url = socketAddress(baseURL);
    if (!url.isValid()) {
        return QStringLiteral("The address cannot be read. Check it for blanks and typing errors.");
    }
    if (url.scheme() != QLatin1String("wss") && url.scheme() != QLatin1String("ws")) {
        return QStringLiteral("The address must begin with https:// or http://, in lower case.");
    }
    if (url.host().isEmpty()) {
        return QStringLiteral("The address names no server after https://.");
    }
    return std::nullopt;
}

} // namespace corvane
