#pragma once

#include "tests/Platform/Network/RawServer.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include "sandbox/CertificateAuthority.h"

#include <QSslCertificate>
#include <QSslKey>
#include <QTemporaryDir>

// A certificate authority made for one test and trusted in it, and a server's side of its certificates.
class TestCertificates {
public:
    using Kind = sandbox::CertificateAuthority::Kind;

    QString authorityFile() const { return m_folder.filePath("ca.pem"); }
    QSslConfiguration server(const QString& name = "localhost", Kind kind = Kind::sound) const {
        const auto issued = m_authority.issue({name.toStdString()}, kind);
        QSslConfiguration configuration;
        configuration.setLocalCertificate(QSslCertificate(QByteArray::fromStdString(issued.certificate)));
        configuration.setPrivateKey(QSslKey(QByteArray::fromStdString(issued.key), QSsl::Ec));
        configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
        return configuration;
    }

    // Speaks nothing newer than TLS 1.1, which OpenSSL does only when told to.
    QSslConfiguration outdatedServer() const {
        auto configuration = server();
        configuration.setProtocol(QSsl::AnyProtocol);
        configuration.setBackendConfigurationOption("CipherString", "DEFAULT:@SECLEVEL=0");
        configuration.setBackendConfigurationOption("MaxProtocol", "TLSv1.1");
        return configuration;
    }
    // Whether a client that is told to can talk to it.
    bool isReachable(quint16 port) const {
        QSslSocket client;
        client.setSslConfiguration(outdatedServer());
        client.connectToHostEncrypted("localhost", port);
        return waitUntil([&] { return client.isEncrypted(); });
    }

    // For a data-driven test: what a server shows, and a word of the refusal; empty when it is accepted.
    static void addRows() {
        const auto row = rows<Kind, QString>();
        row("good", Kind::sound, "");
        row("unknown authority", Kind::unknownIssuer, "issuer certificate");
        row("another host's", Kind::otherName, "name");
        row("expired", Kind::expired, "expired");
    }

private:
    QTemporaryDir m_folder;
    sandbox::CertificateAuthority m_authority{m_folder.path().toStdString()};
    EnvironmentOverride m_roots{"SSL_CERT_FILE", authorityFile().toLocal8Bit()};
};
