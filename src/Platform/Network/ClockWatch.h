#pragma once

#include "Platform/Network/ConnectivityMonitor.h"

#include <chrono>
#include <optional>

namespace platform {

// The system's three clocks at one moment.
struct ClockReadings {
    std::chrono::nanoseconds wall;
    // Stops while the machine sleeps.
    std::chrono::nanoseconds monotonic;
    // Continues while the machine sleeps.
    std::chrono::nanoseconds boot;

    static ClockReadings now();
};

// Finds out what happened between two readings.
class ClockWatch {
public:
    explicit ClockWatch(const ClockReadings& start)
        : m_last(start) {}

    // Returns nullopt if time simply passed. Corrections of the wall clock below one second are ignored.
    std::optional<ConnectivityMonitor::Cause> examine(const ClockReadings& now);

private:
    ClockReadings m_last;
};

} // namespace platform
