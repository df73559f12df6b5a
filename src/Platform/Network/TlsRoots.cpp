#include "Platform/Network/TlsRoots.h"

#include <QFile>
#include <QSslCertificate>

namespace platform::tlsRoots {

QString overridingFile() {
    return QFile::decodeName(qgetenv("SSL_CERT_FILE"));
}

QSslConfiguration qtConfiguration() {
    auto configuration = QSslConfiguration::defaultConfiguration();
    configuration.setProtocol(QSsl::TlsV1_2OrLater);
    configuration.setPeerVerifyMode(QSslSocket::VerifyPeer);
    if (const auto file = overridingFile(); !file.isEmpty()) {
        configuration.setCaCertificates(QSslCertificate::fromPath(file));
    }
    return configuration;
}

} // namespace platform::tlsRoots
