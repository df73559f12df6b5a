#include "Platform/Core/SystemClock.h"

#include <QTimer>

namespace platform {

namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

nanoseconds steadyNow() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

class EventLoopTimer : public Timer {
public:
    EventLoopTimer(milliseconds interval, bool repeats, std::function<void()> tick)
        : m_interval(interval)
        , m_repeats(repeats)
        , m_due(steadyNow() + interval)
        , m_tick(std::make_shared<std::function<void()>>(std::move(tick))) {
        // Coarse timers are up to 5 % late, which would starve an 80 ms drain.
        m_timer.setTimerType(Qt::PreciseTimer);
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { fire(); });
        arm();
    }

private:
    // Each tick is armed against the absolute schedule, so lateness never adds up.
    void arm() {
        const auto wait = std::chrono::ceil<milliseconds>(m_due - steadyNow());
        m_timer.start(std::max(wait, milliseconds(0)));
    }

    void fire() {
        if (m_repeats) {
            m_due += m_interval;
            arm();
        }
        // The tick may destroy this timer.
        const auto tick = m_tick;
        (*tick)();
    }

    milliseconds m_interval;
    bool m_repeats;
    nanoseconds m_due;
    std::shared_ptr<std::function<void()>> m_tick;
    QTimer m_timer;
};

} // namespace

WallTime SystemClock::now() const {
    return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

nanoseconds SystemClock::monotonic() const {
    return steadyNow();
}

std::unique_ptr<Timer> SystemClock::repeat(milliseconds interval, std::function<void()> tick) {
    return std::make_unique<EventLoopTimer>(interval, true, std::move(tick));
}

std::unique_ptr<Timer> SystemClock::once(milliseconds delay, std::function<void()> fire) {
    return std::make_unique<EventLoopTimer>(delay, false, std::move(fire));
}

Completion<void> Clock::sleep(milliseconds delay) {
    Completion<void> completion;
    const auto id = m_nextSleeper++;
    m_sleepers[id] = once(delay, [this, id, completion] {
        const auto fired = m_sleepers.extract(id);
        completion.resolve();
    });
    return completion;
}

} // namespace platform
