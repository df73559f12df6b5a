// A certificate authority of the stand-in's own and the server certificate it signs.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace sandbox {

// Keys are EC P-256. The folder is made if missing, for its owner alone; it holds "ca.pem", which the program
// is pointed at, and "ca-key.pem", readable by the owner alone. An authority found there goes on being used,
// so that a program which trusts it outlives a restart of the stand-in.
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
    // A certificate for the DNS names and 127.0.0.1; the other kinds each have one fault.
    Server issue(const std::vector<std::string>& names, Kind kind = Kind::sound) const;

private:
    std::filesystem::path m_certificateFile;
    std::string m_certificate;
    std::string m_key;
};

// Writes a file that only its owner can read. Throws std::runtime_error.
void writePrivateFile(const std::filesystem::path& file, const std::string& content);
// Empty when there is no such file.
std::string readFile(const std::filesystem::path& file);

} // namespace sandbox
