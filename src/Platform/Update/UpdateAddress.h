#pragma once

#include "Platform/Network/HttpClient.h"

namespace platform {

// The ways to a feed and to a package: over TLS only, redirects included.

// Throws UpdateError, naming `what`, for an address that is not https.
void requireHttps(const QUrl& address, const QString& what);

bool isRedirect(const HttpResponse& response);

// Follows a few redirects, each a step of the caller's.
class RedirectTrail {
public:
    RedirectTrail(QUrl start, QString what);

    const QUrl& address() const { return m_address; }
    // Throws UpdateError when there were too many, or when it leads away from TLS.
    void follow(const HttpResponse& response);

private:
    QUrl m_address;
    QString m_what;
    int m_left = 5;
};

} // namespace platform
