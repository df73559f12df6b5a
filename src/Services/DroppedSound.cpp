#include "Services/DroppedSound.h"

#include "Platform/Core/Log.h"

namespace corvane {

namespace {

constexpr std::chrono::seconds lineInterval{10};

} // namespace

void DroppedSound::note() {
    const auto now = m_clock.monotonic();
    const std::lock_guard lock(m_mutex);
    ++m_count;
    if (!m_lastLine || now - *m_lastLine >= lineInterval) {
        m_lastLine = now;
        platform::logLine(
            QStringLiteral("[WS] The network is too slow: %1 chunks of sound dropped so far").arg(m_count));
    }
}

} // namespace corvane
