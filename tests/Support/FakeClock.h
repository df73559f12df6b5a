#pragma once

#include "Clock.h"

#include <map>

// A clock that stands still until a test turns it. Timers fire inside advance(), in the order of their due
// times, and the event loop is run after each, so that what they queued happens at their moment.
class FakeClock : public platform::Clock {
public:
    FakeClock();

    platform::WallTime now() const override;
    std::chrono::nanoseconds monotonic() const override;
    std::unique_ptr<platform::Timer> repeat(std::chrono::milliseconds interval,
                                            std::function<void()> tick) override;
    std::unique_ptr<platform::Timer> once(std::chrono::milliseconds delay,
                                          std::function<void()> fire) override;

    void advance(std::chrono::milliseconds span);
    // The wall clock alone jumps; no timer fires.
    void jump(std::chrono::milliseconds span);
    int timerCount() const { return static_cast<int>(m_timers->size()); }

private:
    struct Entry {
        std::chrono::nanoseconds due;
        std::chrono::nanoseconds interval; // 0: once
        std::function<void()> tick;
    };
    using Entries = std::map<quint64, Entry>;
    class Handle;

    std::unique_ptr<platform::Timer> add(std::chrono::nanoseconds interval, bool repeats,
                                         std::function<void()> tick);

    // Read by audio threads while the test turns the clock.
    std::atomic<qint64> m_wallMicroseconds;
    std::atomic<qint64> m_monotonicNanoseconds{0};
    std::shared_ptr<Entries> m_timers = std::make_shared<Entries>();
    quint64 m_nextId = 0;
};
