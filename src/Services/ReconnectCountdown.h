#pragma once

#include "Platform/Core/Clock.h"

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

// Counts down the seconds before the next attempt to connect, and counts the attempts. Main thread.
class ReconnectCountdown {
public:
    struct Plan {
        int wait;    // s
        int attempt; // 1 for the first
    };

    // `tick` receives the seconds that are left, from one below the wait down to 0. `due` is called right
    // after 0.
    ReconnectCountdown(platform::Clock& clock, std::function<void(int)> tick, std::function<void()> due);

    // Starts the next countdown. Returns nullopt when all attempts have been used.
    std::optional<Plan> start();
    // Returns true when a countdown was running.
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
