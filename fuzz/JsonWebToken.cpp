#include "fuzz/Fuzzing.h"

#include "Utilities/JWT.h"

using namespace corvane;

using namespace std::chrono_literals;

namespace {

void check(const QString& token) {
    const platform::Secret secret(token);
    try {
        const auto expiry = JWT::expiry(secret);
        ALWAYS(!JWT::needsRefresh(secret, 30, expiry - 31s));
        ALWAYS(JWT::needsRefresh(secret, 30, expiry - 29s));
        ALWAYS(JWT::needsRefresh(secret, 0, expiry + 1s));
    } catch (const JWT::Error&) {
        // No other exception is allowed.
    }
}

} // namespace

// Uses the input as a token, and as the payload of a token.
void fuzz(const QByteArray& input) {
    check(QString::fromUtf8(input));
    const auto payload = input.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    check(QString::fromLatin1("e30." + payload + ".c2ln"));
}
