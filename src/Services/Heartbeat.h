#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Network/WebSocketTask.h"

#include <functional>
#include <memory>

#include <QString>

namespace corvane {

// Watches one open connection. It sends a ping every 30 s, which must be answered before the next one, and
// checkNow() sends one that must be answered within 5 s. An unanswered check counts as a loss only if nothing
// else got through in that time and packets had a route out of this machine. Main thread.
class Heartbeat {
public:
    // Receives null when the peer has answered.
    using PongHandler = std::function<void(std::exception_ptr)>;
    using PingSender = std::function<void(PongHandler)>;
    using HealthReader = std::function<void(platform::WebSocketTask::HealthHandler)>;
    // Receives the reason. It may destroy the heartbeat, and may be called more than once.
    using FailureHandler = std::function<void(QString)>;

    Heartbeat(platform::Clock& clock, PingSender sendPing, HealthReader readHealth, FailureHandler failed);

    // Checks the connection. If a check is already waiting for its answer, another follows right after it.
    void checkNow();

private:
    struct State;

    void tick();

    std::shared_ptr<State> m_state;
    std::unique_ptr<platform::Timer> m_timer;
};

} // namespace corvane
