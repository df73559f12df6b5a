#include "ViewModels/SoundWatch.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"

namespace corvane {

using namespace std::chrono_literals;
using platform::catchError;
using platform::logLine;

namespace {

// Sound has to be back within 3 s of the sound server.
constexpr auto interval = 1s;
// After this number of starts that failed although the server answered, the watch looks less often.
constexpr int maxEagerStarts = 10;
constexpr auto longInterval = 10s;

} // namespace

SoundWatch::SoundWatch(AudioCaptureService& audioCapture, platform::Clock& clock, Owner owner)
    : m_audioCapture(audioCapture)
    , m_clock(clock)
    , m_owner(std::move(owner)) {}

void SoundWatch::start() {
    m_looks.cancel();
    m_starts = 0;
    wait();
}

void SoundWatch::stop() {
    m_looks.cancel();
    m_timer.reset();
}

// The timer is started again only after a look has ended, so that a slow sound server is not asked again
// before it has answered.
void SoundWatch::wait() {
    const auto delay = m_starts < maxEagerStarts ? interval : longInterval;
    m_timer = m_clock.once(delay, [this] { platform::startTask(look(m_looks.ticket()), "look for sound"); });
}

QCoro::Task<void> SoundWatch::look(platform::OperationTicket ticket) {
    const auto found = co_await m_audioCapture.lookForSources();
    ticket.ensureCurrent();
    if (m_owner.mayAct()) {
        m_owner.hasLooked();
        const AudioCaptureService::Sources lost{.system = !m_audioCapture.isCapturing(),
                                                .microphone = !m_audioCapture.isMicCapturing()};
        if (!lost.system && !lost.microphone) {
            stop();
            co_return;
        }
        co_await takeUp(
            {.system = lost.system && found.system, .microphone = lost.microphone && found.microphone});
        ticket.ensureCurrent();
    }
    wait();
}

QCoro::Task<void> SoundWatch::takeUp(AudioCaptureService::Sources back) {
    const auto ticket = m_looks.ticket();
    if (back.system || back.microphone) {
        ++m_starts;
    }
    if (back.system) {
        const auto failure = co_await catchError(
            m_audioCapture.startCapture(AudioCaptureMode::rawStreaming, interviewVadConfig));
        ticket.ensureCurrent();
        logLine(failure ? QStringLiteral("[Interview] Retry: system audio still failed — %1").arg(*failure)
                        : QStringLiteral("[Interview] Retry: system audio started"));
    }
    if (back.microphone) {
        const auto failure = co_await catchError(m_audioCapture.startMicrophoneCapture());
        ticket.ensureCurrent();
        logLine(failure ? QStringLiteral("[Interview] Retry: mic failed — %1").arg(*failure)
                        : QStringLiteral("[Interview] Retry: mic restarted"));
    }
}

} // namespace corvane
