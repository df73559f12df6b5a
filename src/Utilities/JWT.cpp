#include "Utilities/JWT.h"

#include "Utilities/Json.h"

#include <array>
#include <cmath>

namespace corvane {

namespace JWT {

namespace {

constexpr std::array kindNames{"malformed", "invalidPayload", "missingExp"};

// Beyond any date, and still far from the ends of WallTime.
constexpr double maxSeconds = 4e12;

QByteArray decodedPayload(const QString& token) {
    const auto pieces = token.split(u'.', Qt::SkipEmptyParts);
    if (pieces.size() != 3) {
        throw Error(Error::malformed);
    }
    auto payload = pieces[1].toUtf8().replace('-', '+').replace('_', '/');
    payload.append((4 - payload.size() % 4) % 4, '=');
    auto decoded = QByteArray::fromBase64Encoding(payload, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded) {
        throw Error(Error::invalidPayload);
    }
    return std::move(*decoded);
}

boost::json::object claims(const QByteArray& payload) {
    try {
        return json::asObject(json::parse(payload));
    } catch (const json::DecodingError&) {
        throw Error(Error::invalidPayload);
    }
}

} // namespace

Error::Error(Kind kind)
    : std::runtime_error(kindNames[kind])
    , m_kind(kind) {}

platform::WallTime expiry(const platform::Secret& token) {
    const auto object = claims(decodedPayload(token.reveal()));
    const auto* exp = object.if_contains("exp");
    // Boost.JSON reads 0e310 as NaN.
    const auto value = exp && exp->is_number() ? exp->to_number<double>() : std::nan("");
    if (std::isnan(value)) {
        throw Error(Error::missingExp);
    }
    const auto seconds = std::clamp(value, -maxSeconds, maxSeconds);
    return platform::WallTime(std::chrono::microseconds(std::llround(seconds * 1e6)));
}

bool needsRefresh(const platform::Secret& token, double safetyMargin, platform::WallTime now) {
    return std::chrono::duration<double>(expiry(token) - now).count() < safetyMargin;
}

} // namespace JWT

} // namespace corvane
