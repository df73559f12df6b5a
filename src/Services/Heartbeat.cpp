#include "Services/Heartbeat.h"

#include "Platform/Core/Tasks.h"

namespace corvane {

using namespace std::chrono_literals;

namespace {

constexpr auto pingInterval = 30s; // pingIntervalSecs
constexpr auto checkDeadline = 5s;

} // namespace

// Pongs hold it weakly: one that comes after the heartbeat's end finds nothing.
struct Heartbeat::State {
    platform::Clock& clock;
    PingSender sendPing;
    FailureHandler failed;
    quint64 lastPing = 0;
    quint64 lastAnswered = 0;
    quint64 tickPing = 0;
    quint64 checkPing = 0;
    bool checkAgain = false;
    std::unique_ptr<platform::Timer> deadline{};

    // By value: the handler may destroy the heartbeat.
    void fail(const QString& reason) const {
        const auto handler = failed;
        handler(reason);
    }
};

Heartbeat::Heartbeat(platform::Clock& clock, PingSender sendPing, FailureHandler failed)
    : m_state(std::make_shared<State>(State{clock, std::move(sendPing), std::move(failed)}))
    , m_timer(clock.repeat(pingInterval, [this] { tick(); })) {}

void Heartbeat::tick() {
    if (m_state->tickPing > m_state->lastAnswered) {
        m_state->fail(QStringLiteral("the server did not answer the last ping"));
        return;
    }
    m_state->tickPing = ping(m_state);
}

void Heartbeat::checkNow() {
    if (m_state->deadline) {
        m_state->checkAgain = true;
    } else {
        check(m_state);
    }
}

void Heartbeat::check(const std::shared_ptr<State>& state) {
    state->checkAgain = false;
    state->deadline = state->clock.once(checkDeadline, [weak = std::weak_ptr(state)] {
        if (const auto alive = weak.lock()) {
            alive->fail(QStringLiteral("the server did not answer within 5 seconds"));
        }
    });
    state->checkPing = ping(state);
}

quint64 Heartbeat::ping(const std::shared_ptr<State>& state) {
    const auto number = ++state->lastPing;
    state->sendPing([weak = std::weak_ptr(state), number](const std::exception_ptr& error) {
        const auto alive = weak.lock();
        if (!alive) {
            return;
        }
        if (error) {
            alive->fail(platform::errorText(error));
            return;
        }
        alive->lastAnswered = std::max(alive->lastAnswered, number);
        if (alive->deadline && number >= alive->checkPing) {
            alive->deadline.reset();
            if (alive->checkAgain) {
                check(alive);
            }
        }
    });
    return number;
}

} // namespace corvane
