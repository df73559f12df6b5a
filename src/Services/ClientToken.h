#pragma once

#include "Platform/Core/Secret.h"
#include "Platform/Network/HttpClient.h"

#include <optional>

namespace corvane {

// The client token of a sign-in service's answer: the Authorization header, with or without "Bearer ", or
// else the first cookie named __client. Nothing when the answer has neither.
std::optional<platform::Secret> extractClientToken(const platform::HttpResponse& response);

} // namespace corvane
