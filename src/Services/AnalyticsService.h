#pragma once

#include "Platform/Core/Secret.h"

#include <optional>

namespace corvane {

// Holds the analytics key from the environment. The program sends no analytics.
struct AnalyticsService {
    std::optional<platform::Secret> apiKey;
};

} // namespace corvane
