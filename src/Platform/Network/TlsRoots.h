#pragma once

#include <QString>

// The certificate authorities that every TLS connection of the process trusts: the system's store, or only
// those in the file that the environment variable SSL_CERT_FILE names. Read again for each connection.
namespace platform::tlsRoots {

// Returns the path of that file; empty if the system's store is used.
QString overridingFile();

} // namespace platform::tlsRoots
