// Random identifiers and signed session tokens.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sandbox {

std::string base64(std::string_view bytes);
// Returns base64 without padding, with "-" and "_".
std::string base64Url(std::string_view bytes);
// Returns `prefix` followed by `bytes` random bytes in hex.
std::string randomId(std::string_view prefix, std::size_t bytes = 16);

// Issues and checks three-part tokens signed with HMAC-SHA256 (JWT, HS256).
class TokenMint {
public:
    // `key` may have any length.
    explicit TokenMint(std::string key)
        : m_key(std::move(key)) {}

    std::string issue(const std::string& userId, const std::string& sessionId, std::chrono::seconds lifetime);
    // Refuses every token issued so far.
    void revokeAll() { m_firstValid = m_issued; }

    enum class Verdict { good, malformed, badSignature, expired, revoked };
    Verdict check(std::string_view token) const;
    static std::string_view describe(Verdict verdict);
    std::uint64_t issued() const { return m_issued; }

private:
    std::string sign(std::string_view text) const;

    std::string m_key;
    std::uint64_t m_issued = 0;
    std::uint64_t m_firstValid = 0;
};

} // namespace sandbox
