#include "Platform/Network/ClockWatch.h"

#include <ctime>

namespace platform {

namespace {

using std::chrono::nanoseconds;

constexpr std::chrono::seconds tolerance{1};

nanoseconds read(clockid_t clock) {
    timespec time{};
    clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

} // namespace

ClockReadings ClockReadings::now() {
    return {read(CLOCK_REALTIME), read(CLOCK_MONOTONIC), read(CLOCK_BOOTTIME)};
}

std::optional<ConnectivityMonitor::Cause> ClockWatch::examine(const ClockReadings& now) {
    const auto before = std::exchange(m_last, now);
    const auto slept = (now.boot - now.monotonic) - (before.boot - before.monotonic);
    const auto jumped = (now.wall - now.boot) - (before.wall - before.boot);
    if (slept >= tolerance) {
        return ConnectivityMonitor::Cause::resumedFromSleep;
    }
    if (std::chrono::abs(jumped) >= tolerance) {
        return ConnectivityMonitor::Cause::wallClockJumped;
    }
    return std::nullopt;
}

} // namespace platform
