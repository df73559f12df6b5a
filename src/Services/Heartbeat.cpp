#include "Services/Heartbeat.h"

#include "Platform/Core/Tasks.h"

namespace corvane {

using namespace std::chrono_literals;
using platform::ConnectionHealth;

namespace {

constexpr auto pingInterval = 30s; // pingIntervalSecs
constexpr auto checkDeadline = 5s;

} // namespace

// The callbacks hold the state weakly, so that one which comes after the end of the heartbeat does nothing.
struct Heartbeat::State : std::enable_shared_from_this<Heartbeat::State> {
    // A check that is waiting for its answer.
    struct Check {
        quint64 ping;
        quint64 bytesThrough = 0; // when the wait began
        bool hadNoRoute = false;  // at some time since then
        bool again = false;       // another check was asked for since then
        std::unique_ptr<platform::Timer> deadline{};
    };

    platform::Clock& clock;
    PingSender sendPing;
    HealthReader readHealth;
    FailureHandler failed;
    quint64 lastPing = 0;
    quint64 lastAnswered = 0;
    quint64 tickPing = 0;
    std::optional<Check> check{};

    State(platform::Clock& c, PingSender ping, HealthReader health, FailureHandler failure)
        : clock(c)
        , sendPing(std::move(ping))
        , readHealth(std::move(health))
        , failed(std::move(failure)) {}

    // Copies the handler, which may destroy the heartbeat.
    void fail(const QString& reason) const {
        const auto handler = failed;
        handler(reason);
    }

    quint64 ping();
    void answered(quint64 number);
    void beginCheck();
    void waitForAnswer();
    void judge(const ConnectionHealth& health);
    // Calls `take` only if the same check is still waiting.
    void readForCheck(void (State::*take)(const ConnectionHealth&));
    void noteStart(const ConnectionHealth& health) {
        check->bytesThrough = health.bytesThrough;
        noteRoute(health);
    }
    void noteRoute(const ConnectionHealth& health) { check->hadNoRoute |= !health.hasRoute; }
};

Heartbeat::Heartbeat(platform::Clock& clock, PingSender sendPing, HealthReader readHealth,
                     FailureHandler failed)
    : m_state(std::make_shared<State>(clock, std::move(sendPing), std::move(readHealth), std::move(failed)))
    , m_timer(clock.repeat(pingInterval, [this] { tick(); })) {}

void Heartbeat::tick() {
    if (m_state->tickPing > m_state->lastAnswered) {
        m_state->fail(QStringLiteral("the server did not answer the last ping"));
        return;
    }
    m_state->tickPing = m_state->ping();
}

void Heartbeat::checkNow() {
    if (m_state->check) {
        m_state->check->again = true;
        m_state->readForCheck(&State::noteRoute);
    } else {
        m_state->beginCheck();
    }
}

void Heartbeat::State::beginCheck() {
    check.emplace(Check{lastPing + 1});
    waitForAnswer();
    readForCheck(&State::noteStart);
    ping();
}

void Heartbeat::State::waitForAnswer() {
    check->deadline = clock.once(checkDeadline, [weak = weak_from_this()] {
        if (const auto alive = weak.lock()) {
            alive->readForCheck(&State::judge);
        }
    });
}

void Heartbeat::State::readForCheck(void (State::*take)(const ConnectionHealth&)) {
    readHealth([weak = weak_from_this(), take, number = check->ping](const ConnectionHealth& health) {
        const auto alive = weak.lock();
        if (alive && alive->check && alive->check->ping == number) {
            (alive.get()->*take)(health);
        }
    });
}

void Heartbeat::State::judge(const ConnectionHealth& health) {
    if (!health.hasRoute) {
        // No answer could have come. The return of the network leads to another check.
        check.reset();
    } else if (check->hadNoRoute) {
        beginCheck();
    } else if (health.bytesThrough > check->bytesThrough) {
        // The connection is slow but alive: the pong is queued behind the sound.
        noteStart(health);
        waitForAnswer();
    } else {
        fail(QStringLiteral("the server did not answer within 5 seconds"));
    }
}

quint64 Heartbeat::State::ping() {
    const auto number = ++lastPing;
    sendPing([weak = weak_from_this(), number](const std::exception_ptr& error) {
        const auto alive = weak.lock();
        if (!alive) {
            return;
        }
        if (error) {
            alive->fail(platform::errorText(error));
        } else {
            alive->answered(number);
        }
    });
    return number;
}

void Heartbeat::State::answered(quint64 number) {
    lastAnswered = std::max(lastAnswered, number);
    if (check && number >= check->ping) {
        const bool again = check->again;
        check.reset();
        if (again) {
            beginCheck();
        }
    }
}

} // namespace corvane
