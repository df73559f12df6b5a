#include "Services/ClientToken.h"

namespace corvane {

namespace {

constexpr QByteArrayView tokenCookie("__client");
constexpr QByteArrayView bearerPrefix("Bearer ");

// RFC 9110, 5.6.2.
bool isTokenCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           QByteArrayView("!#$%&'*+-.^_`|~").contains(c);
}

// Returns whether the text begins with the "name=" of a cookie, as opposed to the rest of a date or of a
// value.
bool startsCookie(QByteArrayView text) {
    const auto* end = std::ranges::find_if_not(text, isTokenCharacter);
    return end != text.begin() && end != text.end() && *end == '=';
}

// Several Set-Cookie lines may have been joined into one value by commas (as RFC 9110 joins lists, though
// dates contain commas too) or by line breaks; a line break before a blank only continues its line (RFC
// 9112, 5.2).
QList<QByteArray> splitCookies(QByteArray header) {
    // Blanks at the end are removed, as each look beyond a comma would cross all of them.
    header = header.trimmed().replace("\r\n", "\n").replace("\n ", "  ").replace("\n\t", "  ");
    QList<QByteArray> cookies;
    qsizetype start = 0;
    for (qsizetype i = 0; i < header.size(); ++i) {
        const bool lineEnds = header[i] == '\n';
        if (lineEnds || (header[i] == ',' && startsCookie(QByteArrayView(header).sliced(i + 1).trimmed()))) {
            cookies.append(header.sliced(start, i - start));
            start = i + 1;
        }
    }
    cookies.append(header.sliced(start));
    return cookies;
}

// Returns the value of the cookie of that name, without its attributes.
std::optional<QByteArray> cookieValue(const QByteArray& cookie, QByteArrayView name) {
    const auto pair = cookie.split(';').first();
    const auto separator = pair.indexOf('=');
    if (separator < 0 || QByteArrayView(pair).first(separator).trimmed() != name) {
        return std::nullopt;
    }
    return pair.sliced(separator + 1).trimmed();
}

} // namespace

std::optional<platform::Secret> extractClientToken(const platform::HttpResponse& response) {
    if (auto authorization = response.header("Authorization"); authorization && !authorization->isEmpty()) {
        if (authorization->startsWith(bearerPrefix)) {
            authorization->remove(0, bearerPrefix.size());
        }
        return platform::Secret(QString::fromUtf8(*authorization));
    }
    for (const auto& header : response.headers) {
        if (header.name.compare("Set-Cookie", Qt::CaseInsensitive) != 0) {
            continue;
        }
        for (const auto& cookie : splitCookies(header.value)) {
            if (const auto value = cookieValue(cookie, tokenCookie)) {
                return platform::Secret(QString::fromUtf8(*value));
            }
        }
    }
    return std::nullopt;
}

} // namespace corvane
