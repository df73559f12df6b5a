#include "sandbox/UpdateFeed.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <memory>
#include <stdexcept>

namespace sandbox {

namespace {

constexpr std::string_view seed = "corvane-lumetra-sandbox-updates!";
constexpr std::string_view packagePath = "/update/corvane-lumetra.deb";
constexpr std::size_t pieceSize = 64 * 1024;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Digest = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

const unsigned char* bytes(std::string_view text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

Key signingKey() {
    Key key(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, bytes(seed), seed.size()), EVP_PKEY_free);
    if (!key) {
        throw std::runtime_error("no key to sign updates with");
    }
    return key;
}

template<std::size_t size>
std::string base64(const std::array<unsigned char, size>& raw) {
    std::string text(4 * ((size + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), raw.data(), size);
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string signatureOf(std::string_view content) {
    const auto key = signingKey();
    const Digest digest(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    std::array<unsigned char, 64> signature{};
    auto length = signature.size();
    if (EVP_DigestSignInit(digest.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
        EVP_DigestSign(digest.get(), signature.data(), &length, bytes(content), content.size()) != 1) {
        throw std::runtime_error("an update could not be signed");
    }
    return base64(signature);
}

void put(std::string& header, std::size_t at, std::string_view text) {
    std::copy(text.begin(), text.end(), header.begin() + static_cast<std::ptrdiff_t>(at));
}

std::string octal(std::size_t value, int digits) {
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%0*zo", digits, value);
    return text.data();
}

// A tar archive of one file (POSIX ustar).
std::string tar(std::string_view name, std::string_view content) {
    std::string header(512, '\0');
    put(header, 0, name);
    put(header, 100, "0000644");
    put(header, 108, "0000000");
    put(header, 116, "0000000");
    put(header, 124, octal(content.size(), 11));
    put(header, 136, octal(0, 11));
    put(header, 148, "        ");
    put(header, 156, "0");
    put(header, 257, "ustar");
    put(header, 263, "00");
    std::size_t sum = 0;
    for (const char c : header) {
        sum += static_cast<unsigned char>(c);
    }
    put(header, 148, octal(sum, 6));
    header[154] = '\0';
    auto archive = header.append(content);
    archive.resize((archive.size() + 511) / 512 * 512 + 1024);
    return archive;
}

// One member of an ar archive.
std::string member(std::string_view name, const std::string& content) {
    std::array<char, 61> header{};
    std::snprintf(header.data(), header.size(), "%-16.*s%-12d%-6d%-6d%-8s%-10zu`\n",
                  static_cast<int>(name.size()), name.data(), 0, 0, 0, "100644", content.size());
    return header.data() + content + (content.size() % 2 != 0 ? "\n" : "");
}

// Uncompressed, as the format allows.
std::string debianPackage(const std::string& name, const std::string& version, std::size_t kilobytes) {
    const auto control = "Package: " + name + "\nVersion: " + version +
                         "\nArchitecture: all\nMaintainer: Corvane <updates@lumetra.test>\n"
                         "Description: a package to try updates with\n";
    return "!<arch>\n" + member("debian-binary", "2.0\n") + member("control.tar", tar("./control", control)) +
           member("data.tar", tar("./corvane-lumetra-filler", std::string(kilobytes * 1024, 'x')));
}

// Returns the offset of "bytes=<offset>-"; 0 for any other range.
std::size_t offsetOf(const std::string& range) {
    constexpr std::string_view start = "bytes=";
    std::size_t offset = 0;
    if (range.starts_with(start) && range.ends_with('-')) {
        std::from_chars(range.data() + start.size(), range.data() + range.size() - 1, offset);
    }
    return offset;
}

} // namespace

std::string UpdateFeed::publicKey() {
    const auto key = signingKey();
    std::array<unsigned char, 32> raw{};
    auto length = raw.size();
    EVP_PKEY_get_raw_public_key(key.get(), raw.data(), &length);
    return base64(raw);
}

void UpdateFeed::offer(Offer offer) {
    const auto held = offer.flaw == Flaw::olderPackage ? std::string("0.0.1") : offer.displayVersion;
    const auto name = offer.flaw == Flaw::otherPackage ? "sudo" : "corvane-lumetra";
    auto package = debianPackage(name, held, offer.kilobytes);
    m_signature = signatureOf(offer.flaw == Flaw::wrongSignature ? package + "x" : package);
    m_tag = '"' + m_signature.substr(0, 16) + '"';
    m_package = std::move(package);
    m_offer = std::move(offer);
}

std::string UpdateFeed::feed() const {
    const auto scheme = std::string(m_offer.flaw == Flaw::plainAddress ? "http" : "https");
    const auto signature =
        m_offer.flaw == Flaw::unsignedPackage ? "" : "\" sparkle:edSignature=\"" + m_signature;
    constexpr std::size_t tooMuch = std::size_t{1} << 40;
    const auto length = m_offer.flaw == Flaw::tooLarge ? tooMuch : m_package.size();
    const auto enclosure = "<enclosure url=\"" + scheme + "://" + std::string(updateHost) +
                           std::string(packagePath) + "\" length=\"" + std::to_string(length) + signature +
                           "\" type=\"application/vnd.debian.binary-package\"/>";
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
           "<channel><title>Corvane Lumetra</title><item><title>" +
           m_offer.displayVersion + "</title><sparkle:version>" + m_offer.version +
           "</sparkle:version><sparkle:shortVersionString>" + m_offer.displayVersion +
           "</sparkle:shortVersionString><description sparkle:format=\"markdown\"><![CDATA[" + m_offer.notes +
           "]]></description>" + enclosure + "</item></channel></rss>\n";
}

HttpReply UpdateFeed::answer(const HttpRequest& request, std::chrono::milliseconds pace) const {
    HttpReply reply;
    if (request.path == "/update/appcast.xml") {
        reply.headers = {{"Content-Type", "application/rss+xml"}};
        reply.body = feed();
        return reply;
    }
    if (request.path != packagePath) {
        return HttpReply::json(404, R"({"error":"no such file"})");
    }
    reply.headers = {{"Content-Type", "application/vnd.debian.binary-package"}, {"ETag", m_tag}};
    const auto size = m_offer.flaw == Flaw::truncated ? m_package.size() / 2 : m_package.size();
    const auto* range = request.header("range");
    const auto* condition = request.header("if-range");
    const bool isSame = condition == nullptr || *condition == m_tag;
    const auto from = range != nullptr && isSame ? offsetOf(*range) : 0;
    const bool isRest = from > 0 && from < size;
    if (isRest) {
        reply.status = 206;
        reply.headers.emplace_back("Content-Range", "bytes " + std::to_string(from) + '-' +
                                                        std::to_string(size - 1) + '/' +
                                                        std::to_string(size));
    }
    reply.pace = pace;
    for (auto at = isRest ? from : 0; at < size; at += pieceSize) {
        reply.pieces.push_back(m_package.substr(at, std::min(pieceSize, size - at)));
    }
    return reply;
}

} // namespace sandbox
