#include "Platform/Network/TlsRoots.h"

#include <QFile>

namespace platform::tlsRoots {

QString overridingFile() {
    return QFile::decodeName(qgetenv("SSL_CERT_FILE"));
}

} // namespace platform::tlsRoots
