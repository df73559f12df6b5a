#include "Platform/Update/UpdateAddress.h"

#include "Platform/Update/UpdateError.h"

namespace platform {

void requireHttps(const QUrl& address, const QString& what) {
    if (!address.isValid() || address.scheme() != u"https" || address.host().isEmpty()) {
        throw UpdateError(UpdateError::insecureAddress,
                          QStringLiteral("%1 is not at an https address, so it was not fetched. Contact the "
                                         "administrator of the update server.")
                              .arg(what));
    }
}

bool isRedirect(const HttpResponse& response) {
    switch (response.status) {
    case 301:
    case 302:
    case 303:
    case 307:
    case 308:
        return true;
    default:
        return false;
    }
}

RedirectTrail::RedirectTrail(QUrl start, QString what)
    : m_address(std::move(start))
    , m_what(std::move(what)) {
    requireHttps(m_address, m_what);
}

void RedirectTrail::follow(const HttpResponse& response) {
    if (m_left-- == 0) {
        throw UpdateError(UpdateError::downloadFailed,
                          QStringLiteral("%1 is behind too many redirects. Try again later.").arg(m_what));
    }
    const auto location = QString::fromUtf8(response.header("Location").value_or(QByteArray()));
    m_address = m_address.resolved(QUrl(location, QUrl::StrictMode));
    requireHttps(m_address, m_what);
}

} // namespace platform
