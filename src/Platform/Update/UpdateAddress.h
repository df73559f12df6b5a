#pragma once

#include "Platform/Network/HttpClient.h"

namespace platform {

// Addresses of feeds and packages: TLS only, redirects included.

// Throws UpdateError, naming `what`, unless the address is https.
void requireHttps(const QUrl& address, const QString& what);

bool isRedirect(const HttpResponse& response);

// Follows a limited number of redirects, one with each call.
class RedirectTrail {
public:
    RedirectTrail(QUrl start, QString what);

    const QUrl& address() const { return m_address; }
    // Throws UpdateError after too many redirects, or if one leads away from TLS.
    void follow(const HttpResponse& response);

private:
    QUrl m_address;
    QString m_what;
    int m_left = 5;
};

} // namespace platform
