#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/Secret.h"

#include <stdexcept>

namespace corvane {

// Reads the expiry of a session token (RFC 7519). The signature is not checked.
namespace JWT {

class Error : public std::runtime_error {
public:
    enum Kind { malformed, invalidPayload, missingExp };

    explicit Error(Kind kind);
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// Returns the time at which the token expires. Throws Error.
platform::WallTime expiry(const platform::Secret& token);
// Returns true if less than `safetyMargin` seconds are left. Throws Error.
bool needsRefresh(const platform::Secret& token, double safetyMargin, platform::WallTime now);

} // namespace JWT

} // namespace corvane
