#include "fuzz/Fuzzing.h"

#include "Services/ClerkConfig.h"

using namespace corvane;

namespace {

void check(const QString& key) {
    try {
        const ClerkConfig config(key);
        const auto& url = config.frontendAPIURL();
        // The key contains a host and no other part of an address.
        ALWAYS(url.isValid() && url.scheme() == u"https" && !url.host().isEmpty());
        ALWAYS(url.toString() == QStringLiteral("https://") + url.host());
        ALWAYS(config.isDevelopment() == key.startsWith(u"pk_test_"));
        const auto encoded = QString::fromLatin1((url.host() + u'$').toUtf8().toBase64());
        ALWAYS(ClerkConfig(key.first(8) + encoded).frontendAPIURL() == url);
    } catch (const ClerkConfig::Error&) {
        // No other exception is allowed.
    }
}

} // namespace

// Uses the input as a key, and as the content of a key.
void fuzz(const QByteArray& input) {
    check(QString::fromUtf8(input));
    check(QStringLiteral("pk_live_") + QString::fromLatin1(input.toBase64()));
}
