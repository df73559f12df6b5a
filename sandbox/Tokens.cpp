#include "sandbox/Tokens.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/rand.h>

#include <array>

namespace sandbox {

namespace {

using Seconds = std::chrono::duration<double>;

double now() {
    return Seconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::optional<std::string> fromBase64Url(std::string_view text) {
    std::string standard(text);
    for (char& c : standard) {
        c = c == '-' ? '+' : c == '_' ? '/' : c;
    }
    const std::size_t padding = (4 - standard.size() % 4) % 4;
    standard.append(padding, '=');
    std::string decoded(standard.size() / 4 * 3, '\0');
    const int length = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                       reinterpret_cast<const unsigned char*>(standard.data()),
                                       static_cast<int>(standard.size()));
    if (length < 0 || padding > 2) {
        return std::nullopt;
    }
    decoded.resize(static_cast<std::size_t>(length) - padding);
    return decoded;
}

} // namespace

std::string base64(std::string_view bytes) {
    std::string encoded((bytes.size() + 2) / 3 * 4 + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    encoded.resize(static_cast<std::size_t>(length));
    return encoded;
}

std::string base64Url(std::string_view bytes) {
    std::string text = base64(bytes);
    for (char& c : text) {
        c = c == '+' ? '-' : c == '/' ? '_' : c;
    }
    text.erase(std::min(text.find('='), text.size()));
    return text;
}

std::string randomId(std::string_view prefix, std::size_t bytes) {
    std::string random(bytes, '\0');
    RAND_bytes(reinterpret_cast<unsigned char*>(random.data()), static_cast<int>(bytes));
    constexpr std::string_view digits = "0123456789abcdef";
    std::string id(prefix);
    for (const char c : random) {
        id += digits[static_cast<unsigned char>(c) >> 4];
        id += digits[static_cast<unsigned char>(c) & 0xF];
    }
    return id;
}

std::string TokenMint::sign(std::string_view text) const {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
    unsigned int length = 0;
    HMAC(EVP_sha256(), m_key.data(), static_cast<int>(m_key.size()),
         reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data(), &length);
    return base64Url({reinterpret_cast<const char*>(digest.data()), length});
}

std::string TokenMint::issue(const std::string& userId, const std::string& sessionId,
                             std::chrono::seconds lifetime) {
    const double issuedAt = now();
    const boost::json::object header{{"alg", "HS256"}, {"typ", "JWT"}, {"kid", "ins_sandbox"}};
    const boost::json::object payload{{"iss", "sandbox"},
                                      {"sub", userId},
                                      {"sid", sessionId},
                                      {"iat", static_cast<std::int64_t>(issuedAt)},
                                      {"exp", static_cast<std::int64_t>(issuedAt) + lifetime.count()},
                                      {"jti", randomId("", 8)},
                                      {"serial", m_issued++}};
    const std::string text =
        base64Url(boost::json::serialize(header)) + '.' + base64Url(boost::json::serialize(payload));
    return text + '.' + sign(text);
}

TokenMint::Verdict TokenMint::check(std::string_view token) const {
    const auto first = token.find('.');
    const auto second = token.find('.', first == std::string_view::npos ? first : first + 1);
    if (second == std::string_view::npos) {
        return Verdict::malformed;
    }
    const std::string expected = sign(token.substr(0, second));
    const auto given = token.substr(second + 1);
    if (given.size() != expected.size() || CRYPTO_memcmp(given.data(), expected.data(), given.size()) != 0) {
        return Verdict::badSignature;
    }
    const auto payload = fromBase64Url(token.substr(first + 1, second - first - 1));
    if (!payload) {
        return Verdict::malformed;
    }
    const auto claims = boost::json::parse(*payload).as_object();
    if (claims.at("exp").to_number<double>() <= now()) {
        return Verdict::expired;
    }
    const bool revoked = claims.at("serial").to_number<std::uint64_t>() < m_firstValid;
    return revoked ? Verdict::revoked : Verdict::good;
}

std::string_view TokenMint::describe(Verdict verdict) {
    static constexpr std::array<std::string_view, 5> words{"good", "malformed", "not ours", "expired",
                                                           "revoked"};
    return words[static_cast<std::size_t>(verdict)];
}

} // namespace sandbox
