#pragma once

#include <algorithm>
#include <chrono>

namespace corvane {

// When a lost connection is tried again.
namespace reconnectPolicy {

constexpr int maxReconnectAttempts = 10;
constexpr double maxBackoffSecs = 30.0;
// A connection that lived this long clears the count of attempts.
constexpr std::chrono::duration<double> minStableConnectionSecs{5.0};

// Seconds before a try, after `attempts` (0 to maxReconnectAttempts - 1) tries without success.
constexpr int backoffSecs(int attempts) {
    return static_cast<int>(std::min(static_cast<double>(1 << attempts), maxBackoffSecs));
}

} // namespace reconnectPolicy

} // namespace corvane
