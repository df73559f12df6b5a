#include "App/DeepLink.h"

#include <QUrl>

namespace corvane {

std::optional<QString> interviewOfLink(const QUrl& url) {
    if (url.scheme() != QLatin1String("corvane") || url.host() != QLatin1String("interview")) {
        return std::nullopt;
    }
    const auto id = url.path(QUrl::FullyDecoded).section(u'/', -1, -1, QString::SectionSkipEmpty);
    if (id.isEmpty() || id == QLatin1String("interview")) {
        return std::nullopt;
    }
    return id;
}

} // namespace corvane
