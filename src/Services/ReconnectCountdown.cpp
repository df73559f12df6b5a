#include "Services/ReconnectCountdown.h"

#include "Services/ReconnectPolicy.h"

namespace corvane {

using namespace std::chrono_literals;

ReconnectCountdown::ReconnectCountdown(platform::Clock& clock, std::function<void(int)> tick,
                                       std::function<void()> due)
    : m_clock(clock)
    , m_tick(std::move(tick))
    , m_due(std::move(due)) {}

std::optional<ReconnectCountdown::Plan> ReconnectCountdown::start() {
    if (m_attempts >= reconnectPolicy::maxReconnectAttempts) {
        return std::nullopt;
    }
    m_secondsLeft = reconnectPolicy::backoffSecs(m_attempts++);
    m_timer = m_clock.repeat(1s, [this] { countDown(); });
    return Plan{m_secondsLeft, m_attempts};
}

void ReconnectCountdown::countDown() {
    m_tick(--m_secondsLeft);
    if (m_secondsLeft == 0) {
        cancel();
        m_due();
    }
}

bool ReconnectCountdown::cancel() {
    return std::exchange(m_timer, nullptr) != nullptr;
}

} // namespace corvane
