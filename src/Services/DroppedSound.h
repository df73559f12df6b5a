#pragma once

#include "Platform/Core/Clock.h"

#include <mutex>
#include <optional>

namespace corvane {

// Counts the chunks of sound that were dropped because the uplink was too slow, and logs the number at most
// every 10 s. Any thread.
class DroppedSound {
public:
    explicit DroppedSound(const platform::Clock& clock)
        : m_clock(clock) {}

    void note();

private:
    const platform::Clock& m_clock;
    std::mutex m_mutex;
    qint64 m_count = 0;
    std::optional<std::chrono::nanoseconds> m_lastLine; // monotonic
};

} // namespace corvane
