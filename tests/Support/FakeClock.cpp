#include "FakeClock.h"

#include <QCoreApplication>

using namespace std::chrono_literals;

class FakeClock::Handle : public platform::Timer {
public:
    Handle(std::weak_ptr<Entries> entries, quint64 id)
        : m_entries(std::move(entries))
        , m_id(id) {}
    ~Handle() override {
        if (auto entries = m_entries.lock()) {
            // The callback may own this handle: let it go after the entry.
            const auto removed = entries->extract(m_id);
        }
    }

private:
    std::weak_ptr<Entries> m_entries;
    quint64 m_id;
};

FakeClock::FakeClock()
    : m_wallMicroseconds(1'700'000'000'000'000) {}

platform::WallTime FakeClock::now() const {
    return platform::WallTime(std::chrono::microseconds(m_wallMicroseconds.load()));
}

std::chrono::nanoseconds FakeClock::monotonic() const {
    return std::chrono::nanoseconds(m_monotonicNanoseconds.load());
}

std::unique_ptr<platform::Timer> FakeClock::add(std::chrono::nanoseconds interval, bool repeats,
                                                std::function<void()> tick) {
    const auto id = m_nextId++;
    m_timers->emplace(id, Entry{monotonic() + interval, repeats ? interval : 0ns, std::move(tick)});
    return std::make_unique<Handle>(m_timers, id);
}

std::unique_ptr<platform::Timer> FakeClock::repeat(std::chrono::milliseconds interval,
                                                   std::function<void()> tick) {
    return add(interval, true, std::move(tick));
}

std::unique_ptr<platform::Timer> FakeClock::once(std::chrono::milliseconds delay,
                                                 std::function<void()> fire) {
    return add(delay, false, std::move(fire));
}

void FakeClock::jump(std::chrono::milliseconds span) {
    m_wallMicroseconds += std::chrono::microseconds(span).count();
}

void FakeClock::advance(std::chrono::milliseconds span) {
    const auto end = monotonic() + span;
    for (;;) {
        QCoreApplication::processEvents();
        const auto next =
            std::ranges::min_element(*m_timers, {}, [](const auto& entry) { return entry.second.due; });
        if (next == m_timers->end() || next->second.due > end) {
            break;
        }
        const auto step = std::max(next->second.due - monotonic(), 0ns);
        m_monotonicNanoseconds += step.count();
        m_wallMicroseconds += std::chrono::duration_cast<std::chrono::microseconds>(step).count();
        const auto tick = next->second.tick;
        if (next->second.interval > 0ns) {
            next->second.due += next->second.interval;
        } else {
            const auto removed = m_timers->extract(next);
        }
        tick();
    }
    const auto rest = end - monotonic();
    m_monotonicNanoseconds += rest.count();
    m_wallMicroseconds += std::chrono::duration_cast<std::chrono::microseconds>(rest).count();
    QCoreApplication::processEvents();
}
