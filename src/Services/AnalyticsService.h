#pragma once

#include "Platform/Core/Secret.h"

#include <optional>

namespace corvane {

// Holds the analytics key of the environment. Nothing is sent anywhere.
struct AnalyticsService {
    std::optional<platform::Secret> apiKey;
};

} // namespace corvane
