#include "ViewModels/InterviewRun.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/AudioForwarder.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/SystemAudioViewModel.h"

#include <array>

namespace corvane {

using platform::catchError;
using platform::logLine;
using platform::startTask;

namespace {

using State = InterviewRun::State;
using Event = InterviewRun::Event;

struct Transition {
    Event event;
    State from;
    State to;
};

// The transitions. An event without a row for the present state is ignored.
constexpr std::array transitions{
    Transition{Event::answered, State::waiting, State::announcing},
    Transition{Event::announced, State::announcing, State::startingAudio},
    Transition{Event::announced, State::reannouncing, State::startingAudio},
    Transition{Event::announcingFailed, State::announcing, State::failed},
    Transition{Event::announcingFailed, State::reannouncing, State::pausedUnannounced},
    Transition{Event::audioStarted, State::startingAudio, State::live},
    Transition{Event::audioStarted, State::retryingAudio, State::live},
    Transition{Event::retry, State::live, State::retryingAudio},

    // An interview_id that is still being sent may not arrive.
    Transition{Event::pause, State::announcing, State::pausedUnannounced},
    Transition{Event::pause, State::reannouncing, State::pausedUnannounced},
    Transition{Event::pause, State::startingAudio, State::pausedByUser},
    Transition{Event::pause, State::retryingAudio, State::pausedByUser},
    Transition{Event::pause, State::live, State::pausedByUser},
    Transition{Event::pause, State::disconnected, State::pausedByUser},

    Transition{Event::resume, State::disconnected, State::startingAudio},
    Transition{Event::resume, State::pausedByUser, State::startingAudio},
    Transition{Event::resume, State::pausedUnannounced, State::reannouncing},

    Transition{Event::disconnected, State::announcing, State::disconnected},
    Transition{Event::disconnected, State::reannouncing, State::disconnected},
    Transition{Event::disconnected, State::startingAudio, State::disconnected},
    Transition{Event::disconnected, State::retryingAudio, State::disconnected},
    Transition{Event::disconnected, State::live, State::disconnected},

    Transition{Event::serverKnows, State::disconnected, State::startingAudio},
    Transition{Event::serverKnows, State::pausedUnannounced, State::pausedByUser},
    Transition{Event::serverForgot, State::disconnected, State::reannouncing},
    Transition{Event::serverForgot, State::pausedByUser, State::pausedUnannounced},

    // Applies before the server has answered as well: the message that asked for the interview was lost with
    // the link.
    Transition{Event::freshSession, State::waiting, State::reannouncing},
    Transition{Event::freshSession, State::announcing, State::reannouncing},
    Transition{Event::freshSession, State::reannouncing, State::reannouncing},
    Transition{Event::freshSession, State::startingAudio, State::reannouncing},
    Transition{Event::freshSession, State::retryingAudio, State::reannouncing},
    Transition{Event::freshSession, State::live, State::reannouncing},
    Transition{Event::freshSession, State::disconnected, State::reannouncing},
    Transition{Event::freshSession, State::failed, State::reannouncing},
    Transition{Event::freshSession, State::pausedByUser, State::pausedUnannounced},

    Transition{Event::recoveryFailed, State::waiting, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::announcing, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::reannouncing, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::startingAudio, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::retryingAudio, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::live, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::disconnected, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::pausedByUser, State::pausedUnannounced},
    Transition{Event::recoveryFailed, State::failed, State::pausedUnannounced},
};

InterviewStatus interviewStatus(State state) {
    switch (state) {
    case State::waiting:
        return InterviewStatus::waitingForQuestions;
    case State::announcing:
    case State::reannouncing:
    case State::startingAudio:
    case State::retryingAudio:
        return InterviewStatus::startingAudio;
    case State::live:
        return InterviewStatus::streaming;
    case State::disconnected:
    case State::pausedByUser:
    case State::pausedUnannounced:
        return InterviewStatus::paused;
    case State::failed:
        break;
    }
    return InterviewStatus::error;
}

} // namespace

InterviewRun::InterviewRun(InterviewViewModel& model, Services services)
    : m_model(model)
    , m_webSocket(services.webSocket)
    , m_audioCapture(services.audioCapture)
    , m_soundWatch(
          services.audioCapture, services.clock,
          {.mayAct = [this] { return m_state == State::live; }, .hasLooked = [this] { followCapture(); }}) {
    auto* source = &m_audioCapture;
    // Queued, so that the capture's own fields have changed by then.
    connect(source, &AudioCaptureService::systemStreamFailed, this, &InterviewRun::receiveCaptureFailure,
            Qt::QueuedConnection);
    connect(source, &AudioCaptureService::microphoneFailed, this, &InterviewRun::receiveCaptureFailure,
            Qt::QueuedConnection);
    connect(source, &AudioCaptureService::isCapturingChanged, this, &InterviewRun::followCapture);
    connect(source, &AudioCaptureService::isMicCapturingChanged, this, &InterviewRun::followCapture);
}

InterviewRun::~InterviewRun() {
    stopForwardingAudio();
}

bool InterviewRun::handle(Event event) {
    const auto* row = std::find_if(transitions.begin(), transitions.end(), [&](const Transition& each) {
        return each.event == event && each.from == m_state;
    });
    if (row == transitions.end()) {
        return false;
    }
    enter(row->to, event);
    return true;
}

void InterviewRun::enter(State state, Event event) {
    m_operations.cancel();
    m_state = state;
    const auto status = interviewStatus(state);
    if (status == InterviewStatus::paused) {
        stopCapture();
    }
    m_model.m_status = status;
    switch (state) {
    case State::announcing:
        beginAudioCapture();
        return;
    case State::reannouncing:
        restartInterviewOnServer();
        return;
    case State::startingAudio:
        if (event != Event::announced) {
            logLine(QStringLiteral("[Interview] Resuming — restarting audio pipeline"));
        }
        startTask(startAudioPipeline(ticket()), "start sound");
        return;
    case State::retryingAudio:
        startTask(retryCapture(ticket()), "retry sound");
        return;
    case State::live:
        startForwardingAudioToWebSocket();
        return;
    case State::waiting:
    case State::disconnected:
    case State::pausedByUser:
    case State::pausedUnannounced:
    case State::failed:
        return;
    }
}

void InterviewRun::beginAudioCapture() {
    logLine(QStringLiteral("[Interview] beginAudioCapture for interview %1").arg(m_model.interviewId()));
    startTask(sendInterviewId(ticket()), "start interview");
}

QCoro::Task<void> InterviewRun::sendInterviewId(platform::OperationTicket ticket) {
    const auto id = m_model.interviewId();
    const auto failure = co_await catchError(m_webSocket.send(WSCommand::interviewId(id)));
    ticket.ensureCurrent();
    if (failure) {
        logLine(QStringLiteral("[Interview] Failed to send interview_id: %1").arg(*failure));
        m_model.setErrorMessage(QStringLiteral("Could not start interview: ") + *failure);
        handle(Event::announcingFailed);
        co_return;
    }
    logLine(QStringLiteral("[Interview] Sent interview_id: %1").arg(id));
    handle(Event::announced);
}

// Announces the interview again after the server has lost it.
void InterviewRun::restartInterviewOnServer() {
    logLine(QStringLiteral("[Interview] Restarting interview %1 on server").arg(m_model.interviewId()));
    startTask(resendInterviewId(ticket()), "restart interview");
}

QCoro::Task<void> InterviewRun::resendInterviewId(platform::OperationTicket ticket) {
    const auto id = m_model.interviewId();
    const auto failure = co_await catchError(m_webSocket.send(WSCommand::interviewId(id)));
    ticket.ensureCurrent();
    if (failure) {
        logLine(QStringLiteral("[Interview] Failed to re-send interview_id: %1").arg(*failure));
        m_model.m_disconnectedDuringInterview = true;
        handle(Event::announcingFailed);
        co_return;
    }
    logLine(QStringLiteral("[Interview] Re-sent interview_id: %1").arg(id));
    // A mode that cannot be set is ignored: the interview goes on.
    if (m_model.followUpsEnabled()) {
        const auto dropped = co_await catchError(m_webSocket.send(WSCommand::setFollowUps(true)));
        ticket.ensureCurrent();
    }
    if (m_model.englishAssessmentEnabled()) {
        const auto dropped = co_await catchError(m_webSocket.send(WSCommand::setEnglishAssessment(true)));
        ticket.ensureCurrent();
    }
    handle(Event::announced);
}

// Starts both streams, one after the other. The interview goes on with those that start.
QCoro::Task<void> InterviewRun::startAudioPipeline(platform::OperationTicket ticket) {
    m_soundWatch.stop();
    const auto microphoneFailure = co_await catchError(m_audioCapture.startMicrophoneCapture());
    ticket.ensureCurrent();
    logLine(microphoneFailure
                ? QStringLiteral("[Interview] Microphone capture failed: %1").arg(*microphoneFailure)
                : QStringLiteral("[Interview] Microphone capture started (interviewer stream 0x00)"));
    const auto systemFailure =
        co_await catchError(m_audioCapture.startCapture(AudioCaptureMode::rawStreaming, interviewVadConfig));
    ticket.ensureCurrent();
    logLine(systemFailure
                ? QStringLiteral("[Interview] System audio capture failed: %1 — mic-only mode")
                      .arg(*systemFailure)
                : QStringLiteral("[Interview] System audio capture started (candidate stream 0x01)"));
    const bool micStarted = !microphoneFailure;
    const bool systemStarted = !systemFailure;
    finishStart(micStarted, systemStarted,
                QStringLiteral("Could not capture system or microphone audio. Check System Settings."));
}

QCoro::Task<void> InterviewRun::retryCapture(platform::OperationTicket ticket) {
    m_audioCapture.stopSystemCapture();
    const auto systemFailure =
        co_await catchError(m_audioCapture.startCapture(AudioCaptureMode::rawStreaming, interviewVadConfig));
    ticket.ensureCurrent();
    logLine(systemFailure
                ? QStringLiteral("[Interview] Retry: system audio still failed — %1").arg(*systemFailure)
                : QStringLiteral("[Interview] Retry: system audio started"));
    // isMicCapturing() may lag behind a start that has just succeeded, so the outcome of the start counts.
    bool micStarted = m_audioCapture.isMicCapturing();
    if (!micStarted) {
        const auto microphoneFailure = co_await catchError(m_audioCapture.startMicrophoneCapture());
        ticket.ensureCurrent();
        micStarted = !microphoneFailure;
        logLine(microphoneFailure
                    ? QStringLiteral("[Interview] Retry: mic failed — %1").arg(*microphoneFailure)
                    : QStringLiteral("[Interview] Retry: mic restarted"));
    }
    finishStart(micStarted, !systemFailure,
                QStringLiteral("Could not capture any audio. Check System Settings."));
}

void InterviewRun::finishStart(bool micStarted, bool systemStarted, const QString& silentMessage) {
    m_everStarted.microphone = m_everStarted.microphone || micStarted;
    m_everStarted.system = m_everStarted.system || systemStarted;
    showSources(micStarted, systemStarted, silentMessage);
    const bool isMissing =
        (m_everStarted.microphone && !micStarted) || (m_everStarted.system && !systemStarted);
    if (isMissing && !m_soundWatch.isRunning()) {
        m_soundWatch.start();
    }
    handle(Event::audioStarted);
}

// System audio alone is enough: the flags report a missing candidate, not a missing interviewer.
void InterviewRun::showSources(bool microphoneRuns, bool systemRuns, const QString& silentMessage) {
    m_model.m_audioUnavailable = !microphoneRuns && !systemRuns;
    m_model.m_microphoneFallbackActive = microphoneRuns && !systemRuns;
    m_model.m_microphoneMissing = systemRuns && !microphoneRuns;
    m_model.setErrorMessage(m_model.m_audioUnavailable ? std::optional(silentMessage) : std::nullopt);
}

// Keeps the fields in step with the captures while lost sound is being looked for.
void InterviewRun::followCapture() {
    if (m_state == State::live && m_soundWatch.isRunning()) {
        showSources(m_audioCapture.isMicCapturing(), m_audioCapture.isCapturing(),
                    QStringLiteral("Could not capture any audio. Check System Settings."));
    }
}

// Called when sound is lost during the interview, because the sound server has ended or a device was
// unplugged. A stream can end while the other one is still being started; the watch acts once the interview
// is live.
void InterviewRun::receiveCaptureFailure() {
    if (interviewStatus(m_state) == InterviewStatus::startingAudio || m_state == State::live) {
        m_soundWatch.start();
        followCapture();
    }
}

void InterviewRun::stopCapture() {
    m_model.m_microphoneMissing = false;
    m_soundWatch.stop();
    stopForwardingAudio();
    m_audioCapture.stopMicrophoneCapture();
    m_audioCapture.stopSystemCapture();
}

void InterviewRun::startForwardingAudioToWebSocket() {
    stopForwardingAudio();
    if (m_model.m_systemAudioViewModel) {
        m_model.m_systemAudioViewModel->setInterviewOwnsAudio(true);
    }
    logLine(QStringLiteral("[Interview] Starting dual audio forwarding (mic=0x00, system=0x01)"));
    const AudioForwarder::SpeechHandlers speech{
        .started = [this] { startTask(sendSpeechStart(), "speech start"); },
        .stopped = [this](qint64 at) { receiveSpeechStop(at); },
    };
    m_forwarder = std::make_unique<AudioForwarder>(m_audioCapture, m_webSocket, speech);
}

void InterviewRun::stopForwardingAudio() {
    const auto ended = std::move(m_forwarder);
    if (m_model.m_systemAudioViewModel) {
        m_model.m_systemAudioViewModel->setInterviewOwnsAudio(false);
    }
    if (ended && (ended->micSendCount() >= 1 || ended->systemSendCount() >= 1)) {
        logLine(QStringLiteral("[Interview] Stopped audio forwarding (mic=%1, system=%2 chunks)")
                    .arg(ended->micSendCount())
                    .arg(ended->systemSendCount()));
    }
}

void InterviewRun::receiveSpeechStop(qint64 at) {
    if (m_model.manualModeActive()) {
        ++m_model.m_vadStopSuppressedCount;
        logLine(QStringLiteral("[Interview] manual: VAD stop suppressed at=%1").arg(at));
        return;
    }
    startTask(sendSpeechStop(at), "speech stop");
}

QCoro::Task<void> InterviewRun::sendSpeechStart() {
    const auto failure = co_await catchError(m_webSocket.sendCandidateSpeechStart());
    if (failure) {
        logLine(QStringLiteral("[Interview] sendCandidateSpeechStart failed: %1").arg(*failure));
    }
}

QCoro::Task<void> InterviewRun::sendSpeechStop(qint64 at) {
    const auto failure = co_await catchError(m_webSocket.sendCandidateSpeechStop(at));
    if (failure) {
        logLine(QStringLiteral("[Interview] sendCandidateSpeechStop failed: %1").arg(*failure));
    }
}

} // namespace corvane
