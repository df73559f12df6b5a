// What the server's messages and the link's events do to the interview.
#include "ViewModels/InterviewViewModel.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"
#include "Utilities/Json.h"
#include "ViewModels/AudioForwarder.h"

namespace corvane {

using namespace std::chrono_literals;
using platform::logLine;
using platform::startTask;

namespace {

// How long after a plain chat answer the plan or the questions may still come.
constexpr auto answerGrace = 2s;
// Sound that was lost is back within 3 s of the sound server: look once a second, and give up after repeated
// starts that failed although the server answered.
constexpr auto soundInterval = 1s;
constexpr int maxSoundRetries = 10;

QString topicNames(const boost::json::object& object) {
    QStringList names;
    for (const auto& member : object) {
        names.append(json::toQString(member.key()));
    }
    return names.join(QStringLiteral(", "));
}

} // namespace

void InterviewViewModel::setupSubscriptions() {
    auto* source = &m_webSocket;
    connect(source, &WebSocketService::interviewQuestions, this, &Self::receiveQuestions);
    connect(source, &WebSocketService::interviewPlan, this, &Self::receivePlan);
    connect(source, &WebSocketService::endInterviewAck, this, &Self::receiveEndInterviewAck);
    connect(source, &WebSocketService::disconnected, this, &Self::receiveDisconnected);
    connect(source, &WebSocketService::sessionResumed, this, &Self::receiveSessionResumed);
    connect(source, &WebSocketService::sessionFresh, this, &Self::receiveSessionFresh);
    connect(source, &WebSocketService::sessionNotFound, this, &Self::receiveSessionNotFound);
    connect(source, &WebSocketService::requestActiveQuestion, this, &Self::sendActiveQuestion);
    connect(source, &WebSocketService::chatComplete, this, &Self::receiveChatComplete);
    // Queued, so that the capture flags have changed by then.
    connect(&m_audioCapture, &AudioCaptureService::systemStreamFailed, this, &Self::receiveCaptureFailure,
            Qt::QueuedConnection);
    connect(&m_audioCapture, &AudioCaptureService::microphoneFailed, this, &Self::receiveCaptureFailure,
            Qt::QueuedConnection);
}

void InterviewViewModel::receiveQuestions(const boost::json::object& object) {
    logLine(
        QStringLiteral("[Interview] Received interview questions with topics: %1").arg(topicNames(object)));
    auto questions = InterviewQuestion::parse(object);
    logLine(QStringLiteral("[Interview] Parsed %1 questions").arg(questions.size()));
    m_questions = std::move(questions);
    Q_EMIT questionsChanged();
    m_activeQuestionIndex = 0;
    if (m_status == InterviewStatus::waitingForQuestions) {
        beginAudioCapture();
    }
}

void InterviewViewModel::receivePlan(const boost::json::object& object) {
    logLine(QStringLiteral("[Interview] Received interview plan with topics: %1").arg(topicNames(object)));
    auto plan = InterviewPlanTopic::parse(object);
    logLine(QStringLiteral("[Interview] Parsed %1 plan topics").arg(plan.size()));
    m_interviewPlan = std::move(plan);
    Q_EMIT interviewPlanChanged();
    m_activePlanTopicIndex = 0;
    if (m_status == InterviewStatus::waitingForQuestions) {
        beginAudioCapture();
    }
}

void InterviewViewModel::receiveEndInterviewAck() {
    logLine(QStringLiteral("[Interview] End interview ack received"));
    if (m_awaitedEndAcks > 0) {
        // The answer to a finish of our own, which has cleared everything: by now the next interview may run.
        --m_awaitedEndAcks;
        return;
    }
    beginGeneration();
    stopCapture();
    m_status = InterviewStatus::idle;
    m_followUpsEnabled = false;
    clearPlanAndQuestions();
    m_activePlanTopicIndex = 0;
    m_interviewId = QString();
}

void InterviewViewModel::receiveDisconnected() {
    if (m_status != InterviewStatus::streaming && m_status != InterviewStatus::startingAudio) {
        return;
    }
    logLine(QStringLiteral("[Interview] Disconnected during interview — pausing"));
    beginGeneration();
    m_disconnectedDuringInterview = true;
    m_pausedByDisconnect = true;
    m_disconnectedSerial = m_interviewSerial;
    stopCapture();
    m_status = InterviewStatus::paused;
}

void InterviewViewModel::receiveSessionResumed(const SessionResumedPayload& payload) {
    if (m_status != InterviewStatus::paused || !m_pausedByDisconnect || !recoversThisInterview()) {
        return;
    }
    m_pausedByDisconnect = false;
    m_disconnectedDuringInterview = false;
    if (payload.interviewId) {
        logLine(QStringLiteral("[Interview] Session resumed with active interview — auto-resuming audio"));
        resumeInterview();
    } else if (!m_interviewId.value().isEmpty()) {
        logLine(QStringLiteral(
            "[Interview] Session resumed but server lost interview — re-sending interview_id"));
        restartInterviewOnServer();
    } else {
        logLine(QStringLiteral("[Interview] Session resumed, no local interview active"));
    }
}

void InterviewViewModel::receiveSessionFresh() {
    // A new session on the server: ends that the old one has not acknowledged never will be.
    m_awaitedEndAcks = 0;
    if (!m_pausedByDisconnect) {
        return;
    }
    m_pausedByDisconnect = false;
    m_disconnectedDuringInterview = false;
    if (!m_interviewId.value().isEmpty() && recoversThisInterview()) {
        logLine(QStringLiteral(
            "[Interview] Fresh session after disconnect — re-sending interview_id to restart"));
        restartInterviewOnServer();
    } else {
        logLine(QStringLiteral("[Interview] Fresh session after disconnect, no local interview active"));
    }
}

void InterviewViewModel::receiveSessionNotFound(const QString& reason) {
    if (!m_pausedByDisconnect || !recoversThisInterview()) {
        return;
    }
    if (!reason.contains(QLatin1String("failed"))) {
        logLine(QStringLiteral("[Interview] Session not found — waiting for recovery re-bind"));
        return;
    }
    beginGeneration();
    m_pausedByDisconnect = false;
    m_disconnectedDuringInterview = true;
    m_audioCapture.stopMicrophoneCapture();
    m_audioCapture.stopSystemCapture();
    m_status = InterviewStatus::paused;
    logLine(QStringLiteral("[Interview] Session recovery failed — staying paused"));
}

void InterviewViewModel::receiveChatComplete() {
    if (m_status == InterviewStatus::waitingForQuestions) {
        startTask(giveUpWaiting(m_generation), "wait for questions");
    }
}

QCoro::Task<void> InterviewViewModel::giveUpWaiting(Generation generation) {
    const QPointer<InterviewViewModel> self(this);
    co_await m_clock.sleep(answerGrace);
    if (self && generation == m_generation && m_status == InterviewStatus::waitingForQuestions) {
        m_interviewId = QString();
        m_status = InterviewStatus::idle;
    }
}

// Sound went away in the middle of the interview: the server ended, a device was unplugged.
void InterviewViewModel::receiveCaptureFailure() {
    m_soundLostWhileStarting = m_status == InterviewStatus::startingAudio;
    if (m_status != InterviewStatus::streaming) {
        return;
    }
    showCaptureState();
    watchForSound();
}

void InterviewViewModel::showCaptureState() {
    const bool system = m_audioCapture.isCapturing();
    const bool microphone = m_audioCapture.isMicCapturing();
    const bool wasUnavailable = m_audioUnavailable;
    m_audioUnavailable = !system && !microphone;
    m_microphoneFallbackActive = !system && microphone;
    if (m_audioUnavailable) {
        setErrorMessage(QStringLiteral("Could not capture any audio. Check System Settings."));
    } else if (wasUnavailable) {
        setErrorMessage(std::nullopt);
    }
}

void InterviewViewModel::watchForSound() {
    m_soundRetries = 0;
    m_soundTimer = m_clock.repeat(soundInterval, [this] { startTask(lookForSound(), "look for sound"); });
}

QCoro::Task<void> InterviewViewModel::lookForSound() {
    const QPointer<InterviewViewModel> self(this);
    const auto generation = m_generation;
    if (m_status != InterviewStatus::streaming) {
        co_return;
    }
    const auto found = co_await m_audioCapture.lookForSources();
    if (!self || generation != m_generation || m_status != InterviewStatus::streaming || !m_soundTimer) {
        co_return;
    }
    // What the last look brought back is known by now.
    showCaptureState();
    const bool systemLost = !m_audioCapture.isCapturing();
    const bool microphoneLost = !m_audioCapture.isMicCapturing();
    if ((!systemLost && !microphoneLost) || m_soundRetries >= maxSoundRetries) {
        m_soundTimer.reset();
        co_return;
    }
    if (systemLost && found.system) {
        ++m_soundRetries;
        retrySystemAudioCapture();
    } else if (microphoneLost && found.microphone) {
        ++m_soundRetries;
        const auto failure = co_await failureOf(m_audioCapture.startMicrophoneCapture());
        logLine(failure ? QStringLiteral("[Interview] Retry: mic failed — %1").arg(*failure)
                        : QStringLiteral("[Interview] Retry: mic restarted"));
    }
}

} // namespace corvane
