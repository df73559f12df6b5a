#pragma once

#include <QSslConfiguration>
#include <QString>

// Whom every TLS connection of the process trusts: the system's store, or only what stands in the file that
// the environment variable SSL_CERT_FILE names. Read anew for each connection.
namespace platform::tlsRoots {

// The file's path; empty when the system's store counts.
QString overridingFile();

// For a QSslSocket. An override that cannot be read trusts nobody.
QSslConfiguration qtConfiguration();

} // namespace platform::tlsRoots
