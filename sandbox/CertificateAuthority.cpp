#include "sandbox/CertificateAuthority.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

namespace sandbox {

namespace {

constexpr long secondsPerDay = 24 * 60 * 60;

template<auto Free>
struct Freer {
    template<typename T>
    void operator()(T* object) const {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Memory = std::unique_ptr<BIO, Freer<BIO_free_all>>;

void require(bool succeeded, const char* what) {
    if (!succeeded) {
        throw std::runtime_error(std::string("certificates: ") + what);
    }
}

Key makeKey() {
    Key key(EVP_EC_gen("P-256"));
    require(key != nullptr, "no key");
    return key;
}

template<typename Write>
std::string toPem(Write write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    require(memory && write(memory.get()) == 1, "no PEM");
    char* data = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &data);
    return {data, static_cast<std::size_t>(length)};
}

std::string pemOf(EVP_PKEY* key) {
    return toPem([key](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
    });
}

std::string pemOf(X509* certificate) {
    return toPem([certificate](BIO* bio) { return PEM_write_bio_X509(bio, certificate); });
}

Memory reading(const std::string& text) {
    return Memory(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

Certificate blank(EVP_PKEY* key, const std::string& commonName) {
    Certificate certificate(X509_new());
    require(certificate != nullptr, "no certificate");
    X509_set_version(certificate.get(), 2);
    std::uint64_t serial = 0;
    RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial >> 1);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0);
    return certificate;
}

void setValidity(X509* certificate, long fromDay, long toDay) {
    X509_gmtime_adj(X509_getm_notBefore(certificate), fromDay * secondsPerDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate), toDay * secondsPerDay);
}

void extend(X509* certificate, X509* issuer, int kind, const std::string& value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    require(extension != nullptr, "an extension was refused");
    X509_add_ext(certificate, extension, -1);
    X509_EXTENSION_free(extension);
}

struct Authority {
    Certificate certificate;
    Key key;
};

Authority makeAuthority() {
    Key key = makeKey();
    Certificate certificate = blank(key.get(), "Corvane sandbox authority " + std::to_string(getpid()));
    setValidity(certificate.get(), -1, 365);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate.get()));
    extend(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    extend(certificate.get(), certificate.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    extend(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash");
    require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0, "cannot sign");
    return {std::move(certificate), std::move(key)};
}

// Returns null members unless both texts are PEM and the certificate is valid for another month.
Authority readAuthority(const std::string& certificate, const std::string& key) {
    const Memory certificateBio = reading(certificate);
    const Memory keyBio = reading(key);
    Authority authority{Certificate(PEM_read_bio_X509(certificateBio.get(), nullptr, nullptr, nullptr)),
                        Key(PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr))};
    if (authority.certificate && authority.key &&
        X509_check_private_key(authority.certificate.get(), authority.key.get()) == 1) {
        int days = 0;
        int seconds = 0;
        ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(authority.certificate.get()));
        if (days >= 30) {
            return authority;
        }
    }
    return {};
}

} // namespace

CertificateAuthority::CertificateAuthority(const std::filesystem::path& folder)
    : m_certificateFile(folder / "ca.pem") {
    std::filesystem::create_directories(folder);
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0 || status.st_uid != geteuid() ||
        chmod(folder.c_str(), 0700) != 0) {
        throw std::runtime_error("not our folder: " + folder.string());
    }
    const auto keyFile = folder / "ca-key.pem";
    Authority authority = readAuthority(readFile(m_certificateFile), readFile(keyFile));
    const bool found = authority.certificate != nullptr;
    if (!found) {
        authority = makeAuthority();
    }
    m_certificate = pemOf(authority.certificate.get());
    m_key = pemOf(authority.key.get());
    if (!found) {
        writePrivateFile(keyFile, m_key);
        writePrivateFile(m_certificateFile, m_certificate);
    }
}

CertificateAuthority::Server CertificateAuthority::issue(const std::vector<std::string>& names,
                                                         Kind kind) const {
    const Authority issuer =
        kind == Kind::unknownIssuer ? makeAuthority() : readAuthority(m_certificate, m_key);
    require(issuer.certificate && issuer.key, "the authority is unusable");
    const Key key = makeKey();
    const Certificate certificate = blank(key.get(), "Corvane sandbox");
    setValidity(certificate.get(), kind == Kind::expired ? -10 : -1, kind == Kind::expired ? -2 : 30);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer.certificate.get()));
    std::string alternatives = "DNS:other.lumetra.test";
    if (kind != Kind::otherName) {
        alternatives = "IP:127.0.0.1";
        for (const auto& name : names) {
            alternatives += ",DNS:" + name;
        }
    }
    extend(certificate.get(), issuer.certificate.get(), NID_subject_alt_name, alternatives);
    extend(certificate.get(), issuer.certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
    extend(certificate.get(), issuer.certificate.get(), NID_ext_key_usage, "serverAuth");
    extend(certificate.get(), issuer.certificate.get(), NID_authority_key_identifier, "keyid");
    require(X509_sign(certificate.get(), issuer.key.get(), EVP_sha256()) > 0, "cannot sign");
    return {pemOf(certificate.get()), pemOf(key.get())};
}

void writePrivateFile(const std::filesystem::path& file, const std::string& content) {
    const auto partial = file.string() + ".part";
    const int descriptor = open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (descriptor < 0) {
        throw std::runtime_error("cannot write " + partial);
    }
    const auto written = write(descriptor, content.data(), content.size());
    const bool complete = fchmod(descriptor, 0600) == 0 && written == static_cast<ssize_t>(content.size());
    ::close(descriptor);
    if (!complete || std::rename(partial.c_str(), file.c_str()) != 0) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

std::string readFile(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace sandbox
