#pragma once

#include "Platform/Core/Clock.h"

#include <functional>
#include <memory>

#include <QString>

namespace corvane {

// Watches one open connection: a ping every 30 s that must be answered by the next, and one at once, with 5 s
// to answer, when somebody doubts the connection. Main thread.
class Heartbeat {
public:
    // Null: the peer answered.
    using PongHandler = std::function<void(std::exception_ptr)>;
    using PingSender = std::function<void(PongHandler)>;
    // Gets the reason. May destroy the heartbeat; may come more than once.
    using FailureHandler = std::function<void(QString)>;

    Heartbeat(platform::Clock& clock, PingSender sendPing, FailureHandler failed);

    // While one check waits for its answer, another is made right after it.
    void checkNow();

private:
    struct State;

    void tick();
    static quint64 ping(const std::shared_ptr<State>& state);
    static void check(const std::shared_ptr<State>& state);

    std::shared_ptr<State> m_state;
    std::unique_ptr<platform::Timer> m_timer;
};

} // namespace corvane
