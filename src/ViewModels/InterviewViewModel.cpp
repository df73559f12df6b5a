#include "ViewModels/InterviewViewModel.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"
#include "ViewModels/AudioForwarder.h"
#include "ViewModels/SystemAudioViewModel.h"

namespace corvane {

using platform::errorText;
using platform::logLine;
using platform::startTask;

namespace {

constexpr auto manualModeKey = "manual_mode_enabled";
constexpr auto microphoneSettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";

} // namespace

InterviewViewModel::InterviewViewModel(WebSocketService& webSocket, CorvaneAPIService& api,
                                       AudioCaptureService& audioCapture,
                                       platform::SystemAccess& systemAccess,
                                       platform::DefaultsStore& defaults, platform::Clock& clock)
    : m_webSocket(webSocket)
    , m_api(api)
    , m_audioCapture(audioCapture)
    , m_systemAccess(systemAccess)
    , m_defaults(defaults)
    , m_clock(clock) {
    m_manualMode = m_defaults.boolean(QLatin1String(manualModeKey)).value_or(false);
    setupSubscriptions();
}

InterviewViewModel::~InterviewViewModel() = default;

void InterviewViewModel::setSystemAudioViewModel(SystemAudioViewModel* model) {
    m_systemAudioViewModel = model;
}

void InterviewViewModel::setManualMode(bool on) {
    m_manualMode = on;
    m_defaults.setBoolean(QLatin1String(manualModeKey), on);
}

void InterviewViewModel::setErrorMessage(std::optional<QString> message) {
    if (message != m_errorMessage) {
        m_errorMessage = std::move(message);
        Q_EMIT errorMessageChanged();
    }
}

void InterviewViewModel::startInterviewWithId() {
    const auto id = m_interviewId.value().trimmed();
    if (id.isEmpty()) {
        return;
    }
    logLine(QStringLiteral("[Interview] Start interview with ID: %1").arg(id));
    switch (m_systemAccess.microphoneAuthorization()) {
    case platform::MicrophoneAuthorization::denied:
    case platform::MicrophoneAuthorization::restricted:
        refuseMicrophone(QStringLiteral("Microphone access required. Open System Settings to allow."));
        return;
    case platform::MicrophoneAuthorization::notDetermined:
        startTask(requestMicrophone(id), "request microphone");
        return;
    case platform::MicrophoneAuthorization::authorized:
        beginInterviewSubmission(id);
        return;
    }
}

QCoro::Task<void> InterviewViewModel::requestMicrophone(QString trimmedId) {
    const QPointer<InterviewViewModel> self(this);
    const auto generation = beginGeneration();
    const bool granted = co_await m_systemAccess.requestMicrophoneAccess();
    if (!self || generation != m_generation) {
        co_return;
    }
    if (granted) {
        beginInterviewSubmission(trimmedId);
    } else {
        refuseMicrophone(QStringLiteral("Microphone access required"));
    }
}

void InterviewViewModel::refuseMicrophone(const QString& message) {
    m_systemAccess.open(QLatin1String(microphoneSettings));
    m_status = InterviewStatus::error;
    setErrorMessage(message);
}

void InterviewViewModel::beginInterviewSubmission(const QString& id) {
    beginGeneration();
    ++m_interviewSerial;
    m_interviewId = id;
    m_status = InterviewStatus::waitingForQuestions;
    if (chatSubmitHandler) {
        chatSubmitHandler(QStringLiteral("I want to start interview with id ") + id);
    }
}

void InterviewViewModel::beginAudioCapture() {
    m_status = InterviewStatus::startingAudio;
    logLine(QStringLiteral("[Interview] beginAudioCapture for interview %1").arg(m_interviewId));
    startTask(sendInterviewIdAndStart(beginGeneration()), "start interview");
}

QCoro::Task<void> InterviewViewModel::sendInterviewIdAndStart(Generation generation) {
    const QPointer<InterviewViewModel> self(this);
    const auto id = m_interviewId.value();
    const auto failure = co_await failureOf(m_webSocket.send(WSCommand::interviewId(id)));
    if (!self || generation != m_generation) {
        co_return;
    }
    if (failure) {
        logLine(QStringLiteral("[Interview] Failed to send interview_id: %1").arg(*failure));
        setErrorMessage(QStringLiteral("Could not start interview: ") + *failure);
        m_status = InterviewStatus::error;
        co_return;
    }
    logLine(QStringLiteral("[Interview] Sent interview_id: %1").arg(id));
    co_await startAudioPipeline(generation);
}

// The text of what went wrong; nothing when the task succeeded.
QCoro::Task<std::optional<QString>> InterviewViewModel::failureOf(QCoro::Task<void> task) {
    std::optional<QString> failure;
    try {
        co_await task;
    } catch (const std::exception& error) {
        failure = errorText(error);
    }
    co_return failure;
}

// Both streams are tried, one after the other, and the interview goes on with what starts.
QCoro::Task<void> InterviewViewModel::startAudioPipeline(Generation generation) {
    const QPointer<InterviewViewModel> self(this);
    m_soundLostWhileStarting = false;
    const auto microphoneFailure = co_await failureOf(m_audioCapture.startMicrophoneCapture());
    if (!self || generation != m_generation) {
        co_return;
    }
    logLine(microphoneFailure
                ? QStringLiteral("[Interview] Microphone capture failed: %1").arg(*microphoneFailure)
                : QStringLiteral("[Interview] Microphone capture started (interviewer stream 0x00)"));
    const auto systemFailure =
        co_await failureOf(m_audioCapture.startCapture(AudioCaptureMode::rawStreaming, interviewVadConfig));
    if (!self || generation != m_generation) {
        co_return;
    }
    logLine(systemFailure
                ? QStringLiteral("[Interview] System audio capture failed: %1 — mic-only mode")
                      .arg(*systemFailure)
                : QStringLiteral("[Interview] System audio capture started (candidate stream 0x01)"));
    finishAudioStart(!microphoneFailure, !systemFailure,
                     QStringLiteral("Could not capture system or microphone audio. Check System Settings."));
}

void InterviewViewModel::finishAudioStart(bool microphoneRuns, bool systemRuns,
                                          const QString& silentMessage) {
    m_audioUnavailable = !microphoneRuns && !systemRuns;
    m_microphoneFallbackActive = microphoneRuns && !systemRuns;
    setErrorMessage(m_audioUnavailable ? std::optional(silentMessage) : std::nullopt);
    m_status = InterviewStatus::streaming;
    startForwardingAudioToWebSocket();
    if (m_soundLostWhileStarting) {
        watchForSound();
    }
}

// Sets the interview up again after the server has lost it.
void InterviewViewModel::restartInterviewOnServer() {
    if (m_interviewId.value().isEmpty()) {
        return;
    }
    m_status = InterviewStatus::startingAudio;
    logLine(QStringLiteral("[Interview] Restarting interview %1 on server").arg(m_interviewId));
    startTask(resendInterviewIdAndStart(beginGeneration()), "restart interview");
}

QCoro::Task<void> InterviewViewModel::resendInterviewIdAndStart(Generation generation) {
    const QPointer<InterviewViewModel> self(this);
    const auto id = m_interviewId.value();
    const auto failure = co_await failureOf(m_webSocket.send(WSCommand::interviewId(id)));
    if (!self || generation != m_generation) {
        co_return;
    }
    if (failure) {
        logLine(QStringLiteral("[Interview] Failed to re-send interview_id: %1").arg(*failure));
        m_disconnectedDuringInterview = true;
        m_status = InterviewStatus::paused;
        co_return;
    }
    logLine(QStringLiteral("[Interview] Re-sent interview_id: %1").arg(id));
    if (m_followUpsEnabled) {
        co_await sendDropped(WSCommand::setFollowUps(true));
    }
    if (!self || generation != m_generation) {
        co_return;
    }
    if (m_englishAssessmentEnabled) {
        co_await sendDropped(WSCommand::setEnglishAssessment(true));
    }
    if (!self || generation != m_generation) {
        co_return;
    }
    co_await startAudioPipeline(generation);
}

void InterviewViewModel::retrySystemAudioCapture() {
    if (m_status != InterviewStatus::streaming || (!m_audioUnavailable && !m_microphoneFallbackActive)) {
        return;
    }
    m_status = InterviewStatus::startingAudio;
    startTask(retryCapture(beginGeneration()), "retry audio");
}

QCoro::Task<void> InterviewViewModel::retryCapture(Generation generation) {
    const QPointer<InterviewViewModel> self(this);
    m_soundLostWhileStarting = false;
    m_audioCapture.stopSystemCapture();
    const auto systemFailure =
        co_await failureOf(m_audioCapture.startCapture(AudioCaptureMode::rawStreaming, interviewVadConfig));
    if (!self || generation != m_generation) {
        co_return;
    }
    logLine(systemFailure
                ? QStringLiteral("[Interview] Retry: system audio still failed — %1").arg(*systemFailure)
                : QStringLiteral("[Interview] Retry: system audio started"));
    // The field may lag behind a start that has just succeeded, so the outcome of the start counts.
    bool microphoneRuns = m_audioCapture.isMicCapturing();
    if (!microphoneRuns) {
        const auto microphoneFailure = co_await failureOf(m_audioCapture.startMicrophoneCapture());
        if (!self || generation != m_generation) {
            co_return;
        }
        microphoneRuns = !microphoneFailure;
        logLine(microphoneFailure
                    ? QStringLiteral("[Interview] Retry: mic failed — %1").arg(*microphoneFailure)
                    : QStringLiteral("[Interview] Retry: mic restarted"));
    }
    // System audio alone is enough: the flags tell of a missing candidate, not of a missing interviewer.
    finishAudioStart(microphoneRuns, !systemFailure,
                     QStringLiteral("Could not capture any audio. Check System Settings."));
}

void InterviewViewModel::pauseInterview() {
    if (m_status != InterviewStatus::streaming) {
        return;
    }
    beginGeneration();
    stopCapture();
    // This pause is the user's: no recovery of an earlier loss ends it.
    m_pausedByDisconnect = false;
    m_status = InterviewStatus::paused;
}

void InterviewViewModel::resumeInterview() {
    if (m_status != InterviewStatus::paused) {
        return;
    }
    m_status = InterviewStatus::startingAudio;
    logLine(QStringLiteral("[Interview] Resuming — restarting audio pipeline"));
    startTask(startAudioPipeline(beginGeneration()), "resume interview");
}

void InterviewViewModel::stopInterview() {
    m_showStopDialog = false;
    beginGeneration();
    ++m_interviewSerial; // a finished interview has nothing to recover
    stopCapture();
    startTask(sendEndInterview(), "end interview");
    m_status = InterviewStatus::idle;
    clearPlanAndQuestions();
    m_activePlanTopicIndex = 0;
    m_interviewId = QString();
    m_audioUnavailable = false;
    m_microphoneFallbackActive = false;
    m_followUpsEnabled = false;
    m_englishAssessmentEnabled = false;
    setErrorMessage(std::nullopt);
    m_activeQuestionIndex = 0;
    if (onInterviewEnded) {
        onInterviewEnded();
    }
}

QCoro::Task<void> InterviewViewModel::sendEndInterview() {
    const QPointer<InterviewViewModel> self(this);
    ++m_awaitedEndAcks;
    const auto failure = co_await failureOf(m_webSocket.send(WSCommand::endInterview()));
    if (self && failure && m_awaitedEndAcks > 0) {
        --m_awaitedEndAcks;
    }
}

void InterviewViewModel::stopCapture() {
    m_soundTimer.reset();
    stopForwardingAudio();
    m_audioCapture.stopMicrophoneCapture();
    m_audioCapture.stopSystemCapture();
}

void InterviewViewModel::clearPlanAndQuestions() {
    if (!m_questions.isEmpty()) {
        m_questions.clear();
        Q_EMIT questionsChanged();
    }
    if (!m_interviewPlan.isEmpty()) {
        m_interviewPlan.clear();
        Q_EMIT interviewPlanChanged();
    }
}

void InterviewViewModel::nextQuestion() {
    if (m_activeQuestionIndex < m_questions.size() - 1) {
        m_activeQuestionIndex = m_activeQuestionIndex + 1;
        sendActiveQuestion();
    }
}

void InterviewViewModel::sendActiveQuestion() {
    if (m_activeQuestionIndex >= 0 && m_activeQuestionIndex < m_questions.size()) {
        startTask(sendDropped(WSCommand::activeQuestion(m_questions.at(m_activeQuestionIndex).question)),
                  "active question");
    }
}

void InterviewViewModel::toggleFollowUps() {
    m_followUpsEnabled = !m_followUpsEnabled;
    startTask(sendDropped(WSCommand::setFollowUps(m_followUpsEnabled)), "follow-ups");
}

void InterviewViewModel::toggleEnglishAssessment() {
    m_englishAssessmentEnabled = !m_englishAssessmentEnabled;
    startTask(sendDropped(WSCommand::setEnglishAssessment(m_englishAssessmentEnabled)), "english assessment");
}

// For commands whose failure has no consequence for the user.
QCoro::Task<void> InterviewViewModel::sendDropped(WSCommand command) {
    const auto dropped = co_await failureOf(m_webSocket.send(std::move(command)));
}

void InterviewViewModel::startForwardingAudioToWebSocket() {
    stopForwardingAudio();
    if (m_systemAudioViewModel) {
        m_systemAudioViewModel->setInterviewOwnsAudio(true);
    }
    logLine(QStringLiteral("[Interview] Starting dual audio forwarding (mic=0x00, system=0x01)"));
    const AudioForwarder::SpeechHandlers speech{
        .started = [this] { startTask(sendSpeechStart(), "speech start"); },
        .stopped = [this](qint64 at) { receiveSpeechStop(at); },
    };
    m_forwarder = std::make_unique<AudioForwarder>(m_audioCapture, m_webSocket, speech);
}

void InterviewViewModel::stopForwardingAudio() {
    const auto ended = std::move(m_forwarder);
    if (m_systemAudioViewModel) {
        m_systemAudioViewModel->setInterviewOwnsAudio(false);
    }
    if (ended && (ended->microphoneCount() >= 1 || ended->systemCount() >= 1)) {
        logLine(QStringLiteral("[Interview] Stopped audio forwarding (mic=%1, system=%2 chunks)")
                    .arg(ended->microphoneCount())
                    .arg(ended->systemCount()));
    }
}

void InterviewViewModel::receiveSpeechStop(qint64 at) {
    if (manualModeActive()) {
        ++m_vadStopSuppressedCount;
        logLine(QStringLiteral("[Interview] manual: VAD stop suppressed at=%1").arg(at));
        return;
    }
    startTask(sendSpeechStop(at), "speech stop");
}

QCoro::Task<void> InterviewViewModel::sendSpeechStart() {
    const auto failure = co_await failureOf(m_webSocket.sendCandidateSpeechStart());
    if (failure) {
        logLine(QStringLiteral("[Interview] sendCandidateSpeechStart failed: %1").arg(*failure));
    }
}

QCoro::Task<void> InterviewViewModel::sendSpeechStop(qint64 at) {
    const auto failure = co_await failureOf(m_webSocket.sendCandidateSpeechStop(at));
    if (failure) {
        logLine(QStringLiteral("[Interview] sendCandidateSpeechStop failed: %1").arg(*failure));
    }
}

QCoro::Task<void> InterviewViewModel::sendManualStop() {
    const QPointer<InterviewViewModel> self(this);
    if (!manualModeActive()) {
        logLine(QStringLiteral(
            "[Interview] manual: sendManualStop ignored (manual mode inactive — toggle off or not in "
            "Assessment mode)"));
        co_return;
    }
    if (!m_webSocket.isConnected()) {
        logLine(QStringLiteral("[Interview] manual: sendManualStop ignored (ws disconnected)"));
        co_return;
    }
    const auto at = m_clock.nowMilliseconds();
    try {
        co_await m_webSocket.sendCandidateSpeechStop(at);
    } catch (const std::exception& error) {
        logLine(
            QStringLiteral("[Interview] manual: sendCandidateSpeechStop failed: %1").arg(errorText(error)));
        co_return;
    }
    if (self) {
        ++m_manualStopSentCount;
        logLine(QStringLiteral("[Interview] manual: sent candidate_speech_stop at=%1").arg(at));
    }
}

} // namespace corvane
