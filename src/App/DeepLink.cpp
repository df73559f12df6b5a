#include "App/DeepLink.h"

#include <QRegularExpression>
#include <QUrl>

namespace corvane {

namespace {

// Returns the host as it is written, without a user name or a port. QUrl would return it in lower case.
QString writtenHost(const QString& link) {
    static const QRegularExpression host(QStringLiteral("^[^:/?#]*://(?:[^/?#@]*@)?([^/?#:]*)"));
    return host.match(link).captured(1);
}

} // namespace

std::optional<QString> interviewIdFromLink(const QString& link) {
    const QUrl url(link, QUrl::StrictMode);
    if (!url.isValid() || !link.startsWith(QLatin1String("corvane:")) ||
        writtenHost(link) != QLatin1String("interview")) {
        return std::nullopt;
    }
    const auto id = url.path(QUrl::FullyDecoded).section(u'/', -1, -1, QString::SectionSkipEmpty);
    if (id.isEmpty() || id == QLatin1String("interview")) {
        return std::nullopt;
    }
    return id;
}

} // namespace corvane
