#include "fuzz/Fuzzing.h"

#include "Services/ClientToken.h"

using namespace corvane;

namespace {

std::optional<QString> tokenOf(const QList<platform::HttpHeader>& headers) {
    const auto token = extractClientToken({.status = 200, .url = {}, .headers = headers, .body = {}});
    return token ? std::optional(token->reveal()) : std::nullopt;
}

} // namespace

void fuzz(const QByteArray& input) {
    const auto token = tokenOf({{"Set-Cookie", input}});
    if (token) {
        ALWAYS(input.contains("__client"));
        ALWAYS(!token->contains(u';') && !token->contains(u'\n') && *token == token->trimmed());
    }
    // Another cookie before it must not affect it, whether in a header of its own or in the same one.
    ALWAYS(tokenOf({{"Set-Cookie", "a=b; Expires=Wed, 21 Oct 2026 07:28:00 GMT"}, {"set-cookie", input}}) ==
           token);
    if (!input.startsWith(' ') && !input.startsWith('\t')) {
        ALWAYS(tokenOf({{"Set-Cookie", "a=b; Path=/\n" + input}}) == token);
    }
    // An Authorization header takes precedence.
    const auto authorized = tokenOf({{"Set-Cookie", input}, {"authorization", "Bearer abc"}});
    ALWAYS(authorized == QStringLiteral("abc"));
}
