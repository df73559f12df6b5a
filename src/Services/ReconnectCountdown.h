#pragma once

#include "Platform/Core/Clock.h"

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// The wait before the next try of a lost connection, and how many tries there were. Main thread.
class ReconnectCountdown {
public:
    struct Plan {
        int wait;    // s
        int attempt; // 1 for the first
    };

    // `tick` gets the seconds that are left, from one below the wait down to 0; `due` comes right after 0.
    ReconnectCountdown(platform::Clock& clock, std::function<void(int)> tick, std::function<void()> due);

    // Starts the next wait. Returns nullopt when the tries are used up.
    std::optional<Plan> start();
    // True when one was running.
    bool cancel();
    bool isRunning() const { return m_timer != nullptr; }
    int attempts() const { return m_attempts; }
    void clearAttempts() { m_attempts = 0; }

private:
    void countDown();

    platform::Clock& m_clock;
    std::function<void(int)> m_tick;
    std::function<void()> m_due;
    int m_attempts = 0;
    int m_secondsLeft = 0;
    std::unique_ptr<platform::Timer> m_timer;
};

} // namespace corvane
