#pragma once

#include <algorithm>
#include <chrono>

namespace corvane {

// The rules for reconnecting after a lost connection.
namespace reconnectPolicy {

constexpr int maxReconnectAttempts = 10;
constexpr double maxBackoffSecs = 30.0;
// A connection that lasted this long resets the number of attempts.
constexpr std::chrono::duration<double> minStableConnectionSecs{5.0};

// Returns the seconds to wait before the next attempt, after `attempts` (0 to maxReconnectAttempts - 1)
// failed ones.
constexpr int backoffSecs(int attempts) {
    return static_cast<int>(std::min(static_cast<double>(1 << attempts), maxBackoffSecs));
}

} // namespace reconnectPolicy

} // namespace corvane
