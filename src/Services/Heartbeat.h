#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Network/WebSocketTask.h"

#include <functional>
#include <memory>

#include <QString>

namespace corvane {

// Watches one open connection: a ping every 30 s that must be answered by the next, and one at once, with 5 s
// to answer, when somebody doubts the connection. A doubt that gets no pong is a loss only if nothing else
// got through in that time either, and if packets had a way out of this machine. Main thread.
class Heartbeat {
public:
    // Null: the peer answered.
    using PongHandler = std::function<void(std::exception_ptr)>;
    using PingSender = std::function<void(PongHandler)>;
    using HealthReader = std::function<void(platform::WebSocketTask::HealthHandler)>;
    // Gets the reason. May destroy the heartbeat; may come more than once.
    using FailureHandler = std::function<void(QString)>;

    Heartbeat(platform::Clock& clock, PingSender sendPing, HealthReader readHealth, FailureHandler failed);

    // While one check waits for its answer, another is made right after it.
    void checkNow();

private:
    struct State;

    void tick();

    std::shared_ptr<State> m_state;
    std::unique_ptr<platform::Timer> m_timer;
};

} // namespace corvane
