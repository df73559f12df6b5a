// The stand-in's own certificate authority, and the server certificates that it signs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sandbox {

// Keys are EC P-256. The folder is created if it is missing and is private to its owner. It holds "ca.pem",
// which the program is pointed to, and "ca-key.pem". An authority found there is used again, so that a
// program that trusts it keeps doing so after a restart of the stand-in.
class CertificateAuthority {
public:
    // Throws std::runtime_error.
    explicit CertificateAuthority(const std::filesystem::path& folder);

    const std::filesystem::path& certificateFile() const { return m_certificateFile; }

    enum class Kind { sound, otherName, expired, unknownIssuer };
    struct Server {
        // PEM.
        std::string certificate;
        std::string key;
    };
    // Issues a certificate for the DNS names and 127.0.0.1. Every kind except `sound` has one fault.
    Server issue(const std::vector<std::string>& names, Kind kind = Kind::sound) const;

private:
    std::filesystem::path m_certificateFile;
    std::string m_certificate;
    std::string m_key;
};

// Writes a file that only its owner can read. Throws std::runtime_error.
void writePrivateFile(const std::filesystem::path& file, const std::string& content);
// Returns an empty string if there is no such file.
std::string readFile(const std::filesystem::path& file);

} // namespace sandbox
