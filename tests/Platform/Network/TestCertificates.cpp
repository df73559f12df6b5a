#include "TestCertificates.h"

#include <QFile>
#include <QUuid>

#include <memory>

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace {

template<auto release>
struct Release {
    template<typename T>
    void operator()(T* object) const {
        release(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509_free>>;
using Memory = std::unique_ptr<BIO, Release<BIO_free>>;

constexpr long hour = 3600;

Key makeKey() {
    return Key(EVP_EC_gen("P-256"));
}

void addExtension(X509* certificate, X509* issuer, int id, const QByteArray& value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    auto* extension = X509V3_EXT_conf_nid(nullptr, &context, id, value.constData());
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

Certificate makeCertificate(EVP_PKEY* key, const char* name, long serial, long from, long to) {
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), from);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), to);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
    X509_set_pubkey(certificate.get(), key);
    return certificate;
}

QByteArray contents(const Memory& memory) {
    char* data = nullptr;
    const auto size = BIO_get_mem_data(memory.get(), &data);
    return {data, size};
}

QByteArray pem(X509* certificate) {
    Memory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_X509(memory.get(), certificate);
    return contents(memory);
}

QByteArray pem(EVP_PKEY* key) {
    Memory memory(BIO_new(BIO_s_mem()));
    PEM_write_bio_PrivateKey(memory.get(), key, nullptr, nullptr, 0, nullptr, nullptr);
    return contents(memory);
}

} // namespace

struct TestCertificates::Authority {
    Key key = makeKey();
    QByteArray name = QUuid::createUuid().toByteArray();
    Certificate certificate = makeCertificate(key.get(), name.constData(), 1, -hour, hour);
    long nextSerial = 2;
};

TestCertificates::TestCertificates()
    : m_authority(std::make_unique<Authority>()) {
    auto* certificate = m_authority->certificate.get();
    X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    X509_sign(certificate, m_authority->key.get(), EVP_sha256());
    QFile file(authorityFile());
    if (!file.open(QIODevice::WriteOnly) || file.write(pem(certificate)) <= 0) {
        qFatal("cannot write the authority's certificate");
    }
}

TestCertificates::~TestCertificates() = default;

QString TestCertificates::authorityFile() const {
    return m_folder.filePath(QStringLiteral("authority.pem"));
}

QSslConfiguration TestCertificates::server(const QStringList& dnsNames, Validity validity) const {
    auto* authority = m_authority->certificate.get();
    const auto key = makeKey();
    const bool past = validity == Validity::past;
    const auto certificate = makeCertificate(key.get(), "Test server", m_authority->nextSerial++,
                                             past ? -2 * hour : -hour, past ? -hour : hour);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(authority));
    const auto names = QStringLiteral("DNS:") + dnsNames.join(QStringLiteral(",DNS:"));
    addExtension(certificate.get(), authority, NID_subject_alt_name, names.toLatin1());
    X509_sign(certificate.get(), m_authority->key.get(), EVP_sha256());

    QSslConfiguration configuration;
    configuration.setLocalCertificate(QSslCertificate(pem(certificate.get())));
    configuration.setPrivateKey(QSslKey(pem(key.get()), QSsl::Ec));
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}
