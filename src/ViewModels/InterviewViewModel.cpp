#include "ViewModels/InterviewViewModel.h"

#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/WebSocketService.h"
#include "Utilities/Json.h"
#include "ViewModels/InterviewRun.h"
#include "ViewModels/SystemAudioViewModel.h"

namespace corvane {

using namespace std::chrono_literals;
using platform::catchError;
using platform::logLine;
using platform::startTask;

namespace {

constexpr auto manualModeKey = "manual_mode_enabled";
constexpr auto microphoneSettings =
    "x-apple.systempreferences:com.apple.preference.security?Privacy_Microphone";
// How long the plan or the questions may follow a plain chat answer.
constexpr auto answerGrace = 2s;

QString topicNames(const boost::json::object& object) {
    QStringList names;
    for (const auto& member : object) {
        names.append(json::toQString(member.key()));
    }
    return names.join(QStringLiteral(", "));
}

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
    m_defaults.setBool(QLatin1String(manualModeKey), on);
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
    m_microphoneRequest.cancel();
    const auto ticket = m_microphoneRequest.ticket();
    const bool granted = co_await m_systemAccess.requestMicrophoneAccess();
    ticket.ensureCurrent();
    if (granted) {
        beginInterviewSubmission(trimmedId);
    } else {
        refuseMicrophone(QStringLiteral("Microphone access required"));
    }
}

void InterviewViewModel::refuseMicrophone(const QString& message) {
    m_run.reset();
    m_systemAccess.open(QLatin1String(microphoneSettings));
    m_status = InterviewStatus::error;
    setErrorMessage(message);
}

void InterviewViewModel::beginInterviewSubmission(const QString& id) {
    m_microphoneRequest.cancel();
    m_run =
        std::make_unique<InterviewRun>(*this, InterviewRun::Services{m_webSocket, m_audioCapture, m_clock});
    m_disconnectedDuringInterview = false; // it was about the previous interview
    m_interviewId = id;
    m_status = InterviewStatus::waitingForQuestions;
    if (chatSubmitHandler) {
        chatSubmitHandler(QStringLiteral("I want to start interview with id ") + id);
    }
}

void InterviewViewModel::retrySystemAudioCapture() {
    if (m_run && (m_audioUnavailable || m_microphoneFallbackActive)) {
        m_run->handle(InterviewRun::Event::retry);
    }
}

void InterviewViewModel::pauseInterview() {
    if (m_run && m_status == InterviewStatus::streaming) {
        m_run->handle(InterviewRun::Event::pause);
    }
}

void InterviewViewModel::holdInterview() {
    if (m_run) {
        m_run->handle(InterviewRun::Event::pause);
    }
}

void InterviewViewModel::resumeInterview() {
    if (m_run) {
        m_run->handle(InterviewRun::Event::resume);
    }
}

void InterviewViewModel::stopInterview() {
    m_showStopDialog = false;
    endRun();
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

void InterviewViewModel::giveUpStart() {
    if (m_status != InterviewStatus::waitingForQuestions) {
        return;
    }
    m_run.reset();
    m_status = InterviewStatus::idle;
    if (onInterviewEnded) {
        onInterviewEnded();
    }
}

void InterviewViewModel::endRun() {
    m_microphoneRequest.cancel();
    m_run.reset(); // ends the forwarding first
    m_audioCapture.stopMicrophoneCapture();
    m_audioCapture.stopSystemCapture();
    m_microphoneMissing = false;
}

QCoro::Task<void> InterviewViewModel::sendEndInterview() {
    const auto ticket = m_endRequests.ticket();
    ++m_awaitedEndAcks;
    const auto failure = co_await catchError(m_webSocket.send(WSCommand::endInterview()));
    ticket.ensureCurrent();
    if (failure && m_awaitedEndAcks > 0) {
        --m_awaitedEndAcks;
    }
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

// Sends a command whose failure does not matter to the user.
QCoro::Task<void> InterviewViewModel::sendDropped(WSCommand command) {
    const auto dropped = co_await catchError(m_webSocket.send(std::move(command)));
}

QCoro::Task<void> InterviewViewModel::sendManualStop() {
    const auto ticket = m_lifetime.ticket();
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
    const auto failure = co_await catchError(m_webSocket.sendCandidateSpeechStop(at));
    if (failure) {
        logLine(QStringLiteral("[Interview] manual: sendCandidateSpeechStop failed: %1").arg(*failure));
    } else if (ticket.isCurrent()) {
        ++m_manualStopSentCount;
        logLine(QStringLiteral("[Interview] manual: sent candidate_speech_stop at=%1").arg(at));
    }
}

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
    connect(source, &WebSocketService::isConnectedChanged, this, [this] {
        if (!m_webSocket.isConnected()) {
            forgetAwaitedEndAcks();
        }
    });
}

void InterviewViewModel::receiveQuestions(const boost::json::object& object) {
    logLine(
        QStringLiteral("[Interview] Received interview questions with topics: %1").arg(topicNames(object)));
    auto questions = InterviewQuestion::parse(object);
    logLine(QStringLiteral("[Interview] Parsed %1 questions").arg(questions.size()));
    m_questions = std::move(questions);
    Q_EMIT questionsChanged();
    m_activeQuestionIndex = 0;
    if (m_run) {
        m_run->handle(InterviewRun::Event::answered);
    }
}

void InterviewViewModel::receivePlan(const boost::json::object& object) {
    logLine(QStringLiteral("[Interview] Received interview plan with topics: %1").arg(topicNames(object)));
    auto plan = InterviewPlanTopic::parse(object);
    logLine(QStringLiteral("[Interview] Parsed %1 plan topics").arg(plan.size()));
    m_interviewPlan = std::move(plan);
    Q_EMIT interviewPlanChanged();
    m_activePlanTopicIndex = 0;
    if (m_run) {
        m_run->handle(InterviewRun::Event::answered);
    }
}

void InterviewViewModel::receiveEndInterviewAck() {
    logLine(QStringLiteral("[Interview] End interview ack received"));
    if (m_awaitedEndAcks > 0) {
        // This acknowledges an interview that the user has finished, after which everything was cleared.
        // Another interview may be running by now.
        --m_awaitedEndAcks;
        return;
    }
    endRun();
    m_status = InterviewStatus::idle;
    m_followUpsEnabled = false;
    clearPlanAndQuestions();
    m_activePlanTopicIndex = 0;
    m_interviewId = QString();
}

// An end that this link or session has not acknowledged will not be acknowledged any more, so the next
// acknowledgement means that the server itself has ended the interview.
void InterviewViewModel::forgetAwaitedEndAcks() {
    m_endRequests.cancel();
    m_awaitedEndAcks = 0;
}

void InterviewViewModel::receiveDisconnected() {
    if (m_status != InterviewStatus::streaming && m_status != InterviewStatus::startingAudio) {
        return;
    }
    logLine(QStringLiteral("[Interview] Disconnected during interview — pausing"));
    m_disconnectedDuringInterview = true;
    m_pausedByDisconnect = true;
    m_run->handle(InterviewRun::Event::disconnected);
}

void InterviewViewModel::receiveSessionResumed(const SessionResumedPayload& payload) {
    if (!m_run || m_status != InterviewStatus::paused) {
        return;
    }
    // If the user has paused the interview, it stays paused; only the server's knowledge of it is noted.
    const bool recovers = m_pausedByDisconnect && m_run->state() == InterviewRun::State::disconnected;
    if (m_pausedByDisconnect) {
        m_pausedByDisconnect = false;
        m_disconnectedDuringInterview = false;
    }
    if (recovers && payload.interviewId) {
        logLine(QStringLiteral("[Interview] Session resumed with active interview — auto-resuming audio"));
    } else if (recovers && m_interviewId.value().isEmpty()) {
        logLine(QStringLiteral("[Interview] Session resumed, no local interview active"));
        return;
    } else if (recovers) {
        logLine(QStringLiteral(
            "[Interview] Session resumed but server lost interview — re-sending interview_id"));
    }
    m_run->handle(payload.interviewId ? InterviewRun::Event::serverKnows : InterviewRun::Event::serverForgot);
}

void InterviewViewModel::receiveSessionFresh() {
    forgetAwaitedEndAcks();
    const bool isHeld = m_run && m_run->state() == InterviewRun::State::pausedByUser;
    if (std::exchange(m_pausedByDisconnect, false)) {
        m_disconnectedDuringInterview = false;
        // An id that has only been typed in does not belong to an interview yet.
        if (!m_run || m_interviewId.value().isEmpty()) {
            logLine(QStringLiteral("[Interview] Fresh session after disconnect, no local interview active"));
            return;
        }
        if (!isHeld) {
            logLine(QStringLiteral(
                "[Interview] Fresh session after disconnect — re-sending interview_id to restart"));
        }
        m_run->handle(InterviewRun::Event::freshSession);
    } else if (isHeld) {
        m_run->handle(InterviewRun::Event::freshSession);
    }
}

void InterviewViewModel::receiveSessionNotFound(const QString& reason) {
    if (!m_pausedByDisconnect) {
        return;
    }
    if (!reason.contains(QLatin1String("failed"))) {
        logLine(QStringLiteral("[Interview] Session not found — waiting for recovery re-bind"));
        return;
    }
    m_pausedByDisconnect = false;
    if (m_run) {
        m_disconnectedDuringInterview = true;
        m_run->handle(InterviewRun::Event::recoveryFailed);
        logLine(QStringLiteral("[Interview] Session recovery failed — staying paused"));
    }
}

void InterviewViewModel::receiveChatComplete() {
    if (m_run && m_status == InterviewStatus::waitingForQuestions) {
        startTask(giveUpWaiting(m_run->ticket()), "wait for questions");
    }
}

QCoro::Task<void> InterviewViewModel::giveUpWaiting(platform::OperationTicket ticket) {
    co_await m_clock.sleep(answerGrace);
    ticket.ensureCurrent();
    m_run.reset();
    m_interviewId = QString();
    m_status = InterviewStatus::idle;
}

} // namespace corvane
