#pragma once

#include "Platform/Core/SystemClock.h"

// A clock on which time passes `speed` times as fast. The time of day is the machine's, because the tokens
// and the peer use it too.
class ScaledClock : public platform::Clock {
public:
    explicit ScaledClock(int speed)
        : m_speed(speed) {}

    platform::WallTime now() const override { return m_clock.now(); }
    std::chrono::nanoseconds monotonic() const override { return m_clock.monotonic() * m_speed; }
    std::unique_ptr<platform::Timer> repeat(std::chrono::milliseconds interval,
                                            std::function<void()> tick) override {
        return m_clock.repeat(scaled(interval), std::move(tick));
    }
    std::unique_ptr<platform::Timer> once(std::chrono::milliseconds delay,
                                          std::function<void()> fire) override {
        return m_clock.once(scaled(delay), std::move(fire));
    }

private:
    std::chrono::milliseconds scaled(std::chrono::milliseconds time) const {
        return std::max(time / m_speed, std::chrono::milliseconds(1));
    }

    platform::SystemClock m_clock;
    int m_speed;
};
