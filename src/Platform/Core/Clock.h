#pragma once

#include "Platform/Core/Completion.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>

#include <QtGlobal>

namespace platform {

// A point in time of the wall clock, in microseconds.
using WallTime = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

// A running timer. Destroying it stops it, even from inside its own tick.
class Timer {
public:
    virtual ~Timer() = default;
};

// The program's source of time, injected so that tests can advance time by hand.
class Clock {
public:
    virtual ~Clock() = default;

    // Returns the current wall-clock time. Any thread.
    virtual WallTime now() const = 0;
    // Returns the time since an arbitrary point, unaffected by changes of the wall clock. Any thread.
    virtual std::chrono::nanoseconds monotonic() const = 0;

    // Timers run on the main thread. A repeating timer keeps pace: tick n is due at start + n * interval, and
    // a late tick does not delay the ones after it.
    virtual std::unique_ptr<Timer> repeat(std::chrono::milliseconds interval, std::function<void()> tick) = 0;
    virtual std::unique_ptr<Timer> once(std::chrono::milliseconds delay, std::function<void()> fire) = 0;

    // Use as `co_await clock.sleep(1s)` on the main thread. Throws OperationCancelled if the clock is
    // destroyed first.
    Completion<void> sleep(std::chrono::milliseconds delay);

    // Returns the milliseconds since the Unix epoch, truncated: the unit of the server's messages and of the
    // database. Any thread.
    qint64 nowMilliseconds() const {
        return static_cast<qint64>(std::chrono::duration<double>(now().time_since_epoch()).count() * 1000.0);
    }

private:
    std::map<quint64, std::unique_ptr<Timer>> m_sleepers;
    quint64 m_nextSleeper = 0;
};

} // namespace platform
