#pragma once

#include "Platform/Network/ConnectivityMonitor.h"

#include <chrono>
#include <optional>

namespace platform {

// The system's three clocks at one moment.
struct ClockReadings {
    std::chrono::nanoseconds wall;
    // Stands still while the machine sleeps.
    std::chrono::nanoseconds monotonic;
    // Goes on while it sleeps.
    std::chrono::nanoseconds boot;

    static ClockReadings now();
};

// Finds out what happened between two readings.
class ClockWatch {
public:
    explicit ClockWatch(const ClockReadings& start)
        : m_last(start) {}

    // Nothing: time went by, no more. A correction of the wall clock below a second is none worth a word.
    std::optional<ConnectivityMonitor::Cause> examine(const ClockReadings& now);

private:
    ClockReadings m_last;
};

} // namespace platform
