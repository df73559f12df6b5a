#pragma once

#include "Secret.h"

#include <optional>

// Holds the analytics key of the environment. Nothing is sent anywhere.
struct AnalyticsService {
    std::optional<platform::Secret> apiKey;
};
