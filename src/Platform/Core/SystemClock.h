#pragma once

#include "Platform/Core/Clock.h"

namespace platform {

// The machine's clock, with timers of Qt's event loop in millisecond precision.
class SystemClock : public Clock {
public:
    WallTime now() const override;
    std::chrono::nanoseconds monotonic() const override;
    std::unique_ptr<Timer> repeat(std::chrono::milliseconds interval, std::function<void()> tick) override;
    std::unique_ptr<Timer> once(std::chrono::milliseconds delay, std::function<void()> fire) override;
};

} // namespace platform
