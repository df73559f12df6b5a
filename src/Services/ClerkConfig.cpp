#include "Services/ClerkConfig.h"

#include "Platform/Desktop/ApplicationInfo.h"
#include "Utilities/Utf8.h"

#include <array>

namespace corvane {

namespace {

constexpr std::array kindNames{"missingPrefix", "invalidBase64", "missingTrailingDollar", "invalidHost",
                               "missingBundleKey"};

constexpr QLatin1String developmentPrefix("pk_test_");
constexpr QLatin1String productionPrefix("pk_live_");

QString decodedText(const QString& encoded) {
    auto base64 = encoded.toUtf8();
    base64.append((4 - base64.size() % 4) % 4, '=');
    const auto bytes = QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
    auto text = bytes ? utf8::decode(*bytes) : std::nullopt;
    if (!text) {
        throw ClerkConfig::Error(ClerkConfig::Error::invalidBase64);
    }
    return std::move(*text);
}

} // namespace

ClerkConfig::Error::Error(Kind kind)
    : std::runtime_error(kindNames[kind])
    , m_kind(kind) {}

ClerkConfig::ClerkConfig(const QString& publishableKey)
    : m_publishableKey(publishableKey)
    , m_isDevelopment(publishableKey.startsWith(developmentPrefix)) {
    if (!m_isDevelopment && !publishableKey.startsWith(productionPrefix)) {
        throw Error(Error::missingPrefix);
    }
    auto host = decodedText(publishableKey.mid(developmentPrefix.size()));
    if (!host.endsWith(u'$')) {
        throw Error(Error::missingTrailingDollar);
    }
    host.chop(1);
    m_frontendAPIURL = QUrl(QStringLiteral("https://") + host, QUrl::StrictMode);
    if (host.isEmpty() || !m_frontendAPIURL.isValid() || m_frontendAPIURL.host() != host) {
        throw Error(Error::invalidHost);
    }
}

ClerkConfig ClerkConfig::fromBundle(const platform::ApplicationInfo& bundle) {
    const auto key = bundle.string(QStringLiteral("CLERK_PUBLISHABLE_KEY"));
    if (!key || key->isEmpty()) {
        throw Error(Error::missingBundleKey);
    }
    return ClerkConfig(*key);
}

} // namespace corvane
