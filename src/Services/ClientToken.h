#pragma once

#include "Platform/Core/Secret.h"
#include "Platform/Network/HttpClient.h"

#include <optional>

namespace corvane {

// Returns the client token in an answer of the sign-in service: the Authorization header, with or without
// "Bearer ", or else the first cookie named __client. Returns nullopt when the answer has neither.
std::optional<platform::Secret> extractClientToken(const platform::HttpResponse& response);

} // namespace corvane
