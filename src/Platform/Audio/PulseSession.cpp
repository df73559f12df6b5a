#include "Platform/Audio/PulseSession.h"

#include "Platform/Core/Dispatch.h"

namespace platform {

PulseSession::PulseSession(const PulseSettings& settings)
    : m_settings(settings)
    , m_connection(settings) {
    m_limit.setSingleShot(true);
    QObject::connect(&m_limit, &QTimer::timeout, &m_main, [this] {
        endWith({AudioError::Kind::timedOut, QStringLiteral("The sound server does not answer.")});
    });
}

void PulseSession::start() {
    m_limit.start(m_settings.answerLimit);
    m_connection.open(
        {.ready = [this] { connected(); }, .lost = [this](const AudioError& error) { fail(error); }});
}

void PulseSession::shutDown() {
    m_connection.close([this] { release(); });
}

void PulseSession::fail(const AudioError& error) {
    release();
    toMain([this, error] { endWith(error); });
}

void PulseSession::toMain(std::function<void()> work) {
    dispatchToMain(&m_main, std::move(work));
}

void PulseSession::endWith(const AudioError& error) {
    // The timeout may fire while another failure is already queued.
    if (std::exchange(m_ended, true)) {
        return;
    }
    m_limit.stop();
    shutDown();
    failed(error);
}

} // namespace platform
