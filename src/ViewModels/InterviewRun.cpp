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

using Course = InterviewRun::Course;
using Event = InterviewRun::Event;

struct Transition {
    Event event;
    Course from;
    Course to;
};

// What leads where. An event that has no row for a course changes nothing in it.
constexpr std::array transitions{
    Transition{Event::answered, Course::waiting, Course::telling},
    Transition{Event::told, Course::telling, Course::opening},
    Transition{Event::told, Course::retelling, Course::opening},
    Transition{Event::tellingFailed, Course::telling, Course::failed},
    Transition{Event::tellingFailed, Course::retelling, Course::heldUntold},
    Transition{Event::opened, Course::opening, Course::live},
    Transition{Event::opened, Course::retrying, Course::live},
    Transition{Event::retry, Course::live, Course::retrying},

    // An interview_id that is still on its way may not arrive.
    Transition{Event::pause, Course::telling, Course::heldUntold},
    Transition{Event::pause, Course::retelling, Course::heldUntold},
    Transition{Event::pause, Course::opening, Course::held},
    Transition{Event::pause, Course::retrying, Course::held},
    Transition{Event::pause, Course::live, Course::held},
    Transition{Event::pause, Course::lost, Course::held},

    Transition{Event::resume, Course::lost, Course::opening},
    Transition{Event::resume, Course::held, Course::opening},
    Transition{Event::resume, Course::heldUntold, Course::retelling},

    Transition{Event::linkLost, Course::telling, Course::lost},
    Transition{Event::linkLost, Course::retelling, Course::lost},
    Transition{Event::linkLost, Course::opening, Course::lost},
    Transition{Event::linkLost, Course::retrying, Course::lost},
    Transition{Event::linkLost, Course::live, Course::lost},

    Transition{Event::serverKnows, Course::lost, Course::opening},
    Transition{Event::serverKnows, Course::heldUntold, Course::held},
    Transition{Event::serverForgot, Course::lost, Course::retelling},
    Transition{Event::serverForgot, Course::held, Course::heldUntold},

    // Before the server has answered, too: the sentence that asked for the interview was lost with the link.
    Transition{Event::freshSession, Course::waiting, Course::retelling},
    Transition{Event::freshSession, Course::telling, Course::retelling},
    Transition{Event::freshSession, Course::retelling, Course::retelling},
    Transition{Event::freshSession, Course::opening, Course::retelling},
    Transition{Event::freshSession, Course::retrying, Course::retelling},
    Transition{Event::freshSession, Course::live, Course::retelling},
    Transition{Event::freshSession, Course::lost, Course::retelling},
    Transition{Event::freshSession, Course::failed, Course::retelling},
    Transition{Event::freshSession, Course::held, Course::heldUntold},

    Transition{Event::recoveryFailed, Course::waiting, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::telling, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::retelling, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::opening, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::retrying, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::live, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::lost, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::held, Course::heldUntold},
    Transition{Event::recoveryFailed, Course::failed, Course::heldUntold},
};

InterviewStatus statusOf(Course course) {
    switch (course) {
    case Course::waiting:
        return InterviewStatus::waitingForQuestions;
    case Course::telling:
    case Course::retelling:
    case Course::opening:
    case Course::retrying:
        return InterviewStatus::startingAudio;
    case Course::live:
        return InterviewStatus::streaming;
    case Course::lost:
    case Course::held:
    case Course::heldUntold:
        return InterviewStatus::paused;
    case Course::failed:
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
          {.mayAct = [this] { return m_course == Course::live; }, .hasLooked = [this] { followCapture(); }}) {
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

bool InterviewRun::take(Event event) {
    const auto* row = std::find_if(transitions.begin(), transitions.end(), [&](const Transition& each) {
        return each.event == event && each.from == m_course;
    });
    if (row == transitions.end()) {
        return false;
    }
    enter(row->to, event);
    return true;
}

void InterviewRun::enter(Course course, Event event) {
    m_operations.cancel();
    m_course = course;
    const auto status = statusOf(course);
    if (status == InterviewStatus::paused) {
        stopCapture();
    }
    m_model.m_status = status;
    switch (course) {
    case Course::telling:
        beginAudioCapture();
        return;
    case Course::retelling:
        restartInterviewOnServer();
        return;
    case Course::opening:
        if (event != Event::told) {
            logLine(QStringLiteral("[Interview] Resuming — restarting audio pipeline"));
        }
        startTask(startAudioPipeline(ticket()), "start sound");
        return;
    case Course::retrying:
        startTask(retryCapture(ticket()), "retry sound");
        return;
    case Course::live:
        startForwardingAudioToWebSocket();
        return;
    case Course::waiting:
    case Course::lost:
    case Course::held:
    case Course::heldUntold:
    case Course::failed:
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
        take(Event::tellingFailed);
        co_return;
    }
    logLine(QStringLiteral("[Interview] Sent interview_id: %1").arg(id));
    take(Event::told);
}

// Sets the interview up again after the server has lost it.
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
        take(Event::tellingFailed);
        co_return;
    }
    logLine(QStringLiteral("[Interview] Re-sent interview_id: %1").arg(id));
    // A mode that could not be set leaves no trace: the interview goes on.
    if (m_model.followUpsEnabled()) {
        const auto dropped = co_await catchError(m_webSocket.send(WSCommand::setFollowUps(true)));
        ticket.ensureCurrent();
    }
    if (m_model.englishAssessmentEnabled()) {
        const auto dropped = co_await catchError(m_webSocket.send(WSCommand::setEnglishAssessment(true)));
        ticket.ensureCurrent();
    }
    take(Event::told);
}

// Both streams are tried, one after the other, and the interview goes on with what starts.
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
    finishAudioStart(!microphoneFailure, !systemFailure,
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
    // The field may lag behind a start that has just succeeded, so the outcome of the start counts.
    bool microphoneRuns = m_audioCapture.isMicCapturing();
    if (!microphoneRuns) {
        const auto microphoneFailure = co_await catchError(m_audioCapture.startMicrophoneCapture());
        ticket.ensureCurrent();
        microphoneRuns = !microphoneFailure;
        logLine(microphoneFailure
                    ? QStringLiteral("[Interview] Retry: mic failed — %1").arg(*microphoneFailure)
                    : QStringLiteral("[Interview] Retry: mic restarted"));
    }
    finishAudioStart(microphoneRuns, !systemFailure,
                     QStringLiteral("Could not capture any audio. Check System Settings."));
}

void InterviewRun::finishAudioStart(bool microphoneRuns, bool systemRuns, const QString& silentMessage) {
    m_heard.microphone = m_heard.microphone || microphoneRuns;
    m_heard.system = m_heard.system || systemRuns;
    showSources(microphoneRuns, systemRuns, silentMessage);
    const bool isMissing = (m_heard.microphone && !microphoneRuns) || (m_heard.system && !systemRuns);
    if (isMissing && !m_soundWatch.isRunning()) {
        m_soundWatch.start();
    }
    take(Event::opened);
}

// System audio alone is enough: the flags tell of a missing candidate, not of a missing interviewer.
void InterviewRun::showSources(bool microphoneRuns, bool systemRuns, const QString& silentMessage) {
    m_model.m_audioUnavailable = !microphoneRuns && !systemRuns;
    m_model.m_microphoneFallbackActive = microphoneRuns && !systemRuns;
    m_model.m_microphoneMissing = systemRuns && !microphoneRuns;
    m_model.setErrorMessage(m_model.m_audioUnavailable ? std::optional(silentMessage) : std::nullopt);
}

// While sound that was lost is looked for, the fields follow what runs.
void InterviewRun::followCapture() {
    if (m_course == Course::live && m_soundWatch.isRunning()) {
        showSources(m_audioCapture.isMicCapturing(), m_audioCapture.isCapturing(),
                    QStringLiteral("Could not capture any audio. Check System Settings."));
    }
}

// Sound went away in the middle of the interview: the server ended, a device was unplugged. A stream can end
// while the other one is still being started; the watch acts once the interview is live.
void InterviewRun::receiveCaptureFailure() {
    if (statusOf(m_course) == InterviewStatus::startingAudio || m_course == Course::live) {
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
