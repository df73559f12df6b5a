#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <QStringList>
#include <QTemporaryDir>

// A certificate authority made for one test, and server certificates that it signed.
class TestCertificates {
public:
    enum class Validity { now, past };

    TestCertificates();
    ~TestCertificates();

    // The authority's certificate as a PEM file, for SSL_CERT_FILE.
    QString authorityFile() const;
    // A server's side for these DNS names, signed by the authority.
    QSslConfiguration server(const QStringList& dnsNames, Validity validity = Validity::now) const;

private:
    struct Authority;
    std::unique_ptr<Authority> m_authority;
    QTemporaryDir m_folder;
};
