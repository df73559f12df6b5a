#pragma once

#include "Platform/Core/Clock.h"

#include <QCoreApplication>

#include <map>

// A clock that stands still until a test turns it. Timers fire inside advance(), in the order of their due
// times, and the event loop is run after each, so that what they queued happens at their moment.
class FakeClock : public platform::Clock {
public:
    platform::WallTime now() const override {
        return platform::WallTime(std::chrono::microseconds(m_wallMicroseconds.load()));
    }
    std::chrono::nanoseconds monotonic() const override {
        return std::chrono::nanoseconds(m_monotonicNanoseconds.load());
    }
    std::unique_ptr<platform::Timer> repeat(std::chrono::milliseconds interval,
                                            std::function<void()> tick) override {
        return add(interval, interval, std::move(tick));
    }
    std::unique_ptr<platform::Timer> once(std::chrono::milliseconds delay,
                                          std::function<void()> fire) override {
        ++m_timersStarted;
        return add(delay, {}, std::move(fire));
    }

    void advance(std::chrono::milliseconds span) {
        const auto end = monotonic() + span;
        for (;;) {
            QCoreApplication::processEvents();
            const auto next =
                std::ranges::min_element(*m_timers, {}, [](const auto& entry) { return entry.second.due; });
            if (next == m_timers->end() || next->second.due > end) {
                break;
            }
            turnTo(std::max(next->second.due, monotonic()));
            const auto tick = next->second.tick;
            if (next->second.interval.count() > 0) {
                next->second.due += next->second.interval;
            } else {
                const auto removed = m_timers->extract(next);
            }
            tick();
        }
        turnTo(end);
        QCoreApplication::processEvents();
    }
    // The wall clock alone jumps; no timer fires.
    void jump(std::chrono::milliseconds span) {
        m_wallMicroseconds += std::chrono::microseconds(span).count();
    }
    int timerCount() const { return static_cast<int>(m_timers->size()); }
    // How often once() was called.
    int timersStarted() const { return m_timersStarted; }

private:
    struct Entry {
        std::chrono::nanoseconds due;
        std::chrono::nanoseconds interval; // 0: once
        std::function<void()> tick;
    };
    using Entries = std::map<quint64, Entry>;
    class Handle : public platform::Timer {
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

    std::unique_ptr<platform::Timer> add(std::chrono::nanoseconds delay, std::chrono::nanoseconds interval,
                                         std::function<void()> tick) {
        m_timers->emplace(++m_nextId, Entry{monotonic() + delay, interval, std::move(tick)});
        return std::make_unique<Handle>(m_timers, m_nextId);
    }
    void turnTo(std::chrono::nanoseconds time) {
        const auto step = time - monotonic();
        m_monotonicNanoseconds += step.count();
        m_wallMicroseconds += std::chrono::duration_cast<std::chrono::microseconds>(step).count();
    }

    // Read by audio threads while the test turns the clock.
    std::atomic<qint64> m_wallMicroseconds{1'700'000'000'000'000};
    std::atomic<qint64> m_monotonicNanoseconds{0};
    std::shared_ptr<Entries> m_timers = std::make_shared<Entries>();
    quint64 m_nextId = 0;
    int m_timersStarted = 0;
};
