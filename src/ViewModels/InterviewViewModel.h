#pragma once

#include "Models/AudioModels.h"
#include "Models/InterviewModels.h"
#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Desktop/SystemAccess.h"
#include "Platform/Storage/DefaultsStore.h"
#include "Services/WebSocketMessages.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QProperty>

#include <functional>
#include <memory>
#include <optional>

namespace corvane {

class AudioCaptureService;
class CorvaneAPIService;
class InterviewRun;
class SystemAudioViewModel;
class WebSocketService;

// Runs one interview at a time: its start by a chat message, the plan and the questions, both audio streams,
// pause, resume and end, and the recovery from a lost connection. It is created once and used for one
// interview after another. Main thread.
class InterviewViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString status READ statusName NOTIFY statusChanged)
    Q_PROPERTY(QString interviewId READ interviewId WRITE setInterviewId NOTIFY interviewIdChanged)
    Q_PROPERTY(int activeQuestionIndex READ activeQuestionIndex WRITE setActiveQuestionIndex NOTIFY
                   activeQuestionIndexChanged)
    Q_PROPERTY(int activePlanTopicIndex READ activePlanTopicIndex WRITE setActivePlanTopicIndex NOTIFY
                   activePlanTopicIndexChanged)
    Q_PROPERTY(bool showStopDialog READ showStopDialog WRITE setShowStopDialog NOTIFY showStopDialogChanged)
    Q_PROPERTY(bool disconnectedDuringInterview READ disconnectedDuringInterview NOTIFY
                   disconnectedDuringInterviewChanged)
    Q_PROPERTY(QString errorMessage READ errorMessageText NOTIFY errorMessageChanged)
    Q_PROPERTY(bool audioUnavailable READ audioUnavailable NOTIFY audioUnavailableChanged)
    Q_PROPERTY(
        bool microphoneFallbackActive READ microphoneFallbackActive NOTIFY microphoneFallbackActiveChanged)
    Q_PROPERTY(bool microphoneMissing READ microphoneMissing NOTIFY microphoneMissingChanged)
    Q_PROPERTY(bool followUpsEnabled READ followUpsEnabled NOTIFY followUpsEnabledChanged)
    Q_PROPERTY(
        bool englishAssessmentEnabled READ englishAssessmentEnabled NOTIFY englishAssessmentEnabledChanged)
    Q_PROPERTY(bool manualMode READ manualMode WRITE setManualMode NOTIFY manualModeChanged)

public:
    InterviewViewModel(WebSocketService& webSocket, CorvaneAPIService& api, AudioCaptureService& audioCapture,
                       platform::SystemAccess& systemAccess, platform::DefaultsStore& defaults,
                       platform::Clock& clock);
    ~InterviewViewModel() override;

    // Called with a text to submit as a chat message.
    std::function<void(QString)> chatSubmitHandler;
    // Called after an interview, to clear what it has left on screen elsewhere.
    std::function<void()> onInterviewEnded;
    void setSystemAudioViewModel(SystemAudioViewModel* model);

    InterviewStatus status() const { return m_status; }
    QString statusName() const { return rawValue(m_status); }
    QString interviewId() const { return m_interviewId; }
    void setInterviewId(const QString& id) { m_interviewId = id; }
    const QList<InterviewQuestion>& questions() const { return m_questions; }
    int activeQuestionIndex() const { return m_activeQuestionIndex; }
    void setActiveQuestionIndex(int index) { m_activeQuestionIndex = index; }
    const QList<InterviewPlanTopic>& interviewPlan() const { return m_interviewPlan; }
    int activePlanTopicIndex() const { return m_activePlanTopicIndex; }
    void setActivePlanTopicIndex(int index) { m_activePlanTopicIndex = index; }
    bool showStopDialog() const { return m_showStopDialog; }
    void setShowStopDialog(bool show) { m_showStopDialog = show; }
    bool disconnectedDuringInterview() const { return m_disconnectedDuringInterview; }
    const std::optional<QString>& errorMessage() const { return m_errorMessage; }
    QString errorMessageText() const { return m_errorMessage.value_or(QString()); }
    bool audioUnavailable() const { return m_audioUnavailable; }
    bool microphoneFallbackActive() const { return m_microphoneFallbackActive; }
    // Returns whether system audio is captured and the microphone is not, so that the interviewer is not
    // heard.
    bool microphoneMissing() const { return m_microphoneMissing; }
    bool followUpsEnabled() const { return m_followUpsEnabled; }
    bool englishAssessmentEnabled() const { return m_englishAssessmentEnabled; }
    bool manualMode() const { return m_manualMode; }
    // Stored, so that the next start of the program uses it too.
    void setManualMode(bool on);
    // Returns whether the interviewer, and not the detector, marks the end of the candidate's speech.
    bool manualModeActive() const {
        return m_manualMode && m_followUpsEnabled && !m_englishAssessmentEnabled;
    }

    void startInterviewWithId();
    void pauseInterview();
    // Pauses an interview that has its questions, in any status. A start under way is given up, and a pause
    // caused by a lost connection becomes the user's own, which does not end by itself.
    void holdInterview();
    void resumeInterview();
    void stopInterview();
    // Stops waiting for questions and keeps the id, so that the start can be tried again. Does nothing in
    // other statuses.
    void giveUpStart();
    void retrySystemAudioCapture();
    void nextQuestion();
    void sendActiveQuestion();
    void toggleFollowUps();
    void toggleEnglishAssessment();
    // Never throws.
    QCoro::Task<void> sendManualStop();

    int vadStopSuppressedCount() const { return m_vadStopSuppressedCount; }
    int manualStopSentCount() const { return m_manualStopSentCount; }

Q_SIGNALS:
    void statusChanged();
    void interviewIdChanged();
    void questionsChanged();
    void activeQuestionIndexChanged();
    void interviewPlanChanged();
    void activePlanTopicIndexChanged();
    void showStopDialogChanged();
    void disconnectedDuringInterviewChanged();
    void errorMessageChanged();
    void audioUnavailableChanged();
    void microphoneFallbackActiveChanged();
    void microphoneMissingChanged();
    void followUpsEnabledChanged();
    void englishAssessmentEnabledChanged();
    void manualModeChanged();

private:
    friend class InterviewRun; // sets the fields during an interview

    void setupSubscriptions();
    QCoro::Task<void> requestMicrophone(QString trimmedId);
    void refuseMicrophone(const QString& message);
    void beginInterviewSubmission(const QString& id);

    void receiveQuestions(const boost::json::object& object);
    void receivePlan(const boost::json::object& object);
    void receiveEndInterviewAck();
    void forgetAwaitedEndAcks();
    void receiveDisconnected();
    void receiveSessionResumed(const SessionResumedPayload& payload);
    void receiveSessionFresh();
    void receiveSessionNotFound(const QString& reason);
    void receiveChatComplete();
    QCoro::Task<void> giveUpWaiting(platform::OperationTicket ticket);

    void endRun();
    QCoro::Task<void> sendEndInterview();
    QCoro::Task<void> sendDropped(WSCommand command);
    void clearPlanAndQuestions();
    void setErrorMessage(std::optional<QString> message);

    using Self = InterviewViewModel;
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, InterviewStatus, m_status, InterviewStatus::idle,
                                         &Self::statusChanged)
    Q_OBJECT_BINDABLE_PROPERTY(Self, QString, m_interviewId, &Self::interviewIdChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, int, m_activeQuestionIndex, 0,
                                         &Self::activeQuestionIndexChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, int, m_activePlanTopicIndex, 0,
                                         &Self::activePlanTopicIndexChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_showStopDialog, false, &Self::showStopDialogChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_disconnectedDuringInterview, false,
                                         &Self::disconnectedDuringInterviewChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_audioUnavailable, false,
                                         &Self::audioUnavailableChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_microphoneFallbackActive, false,
                                         &Self::microphoneFallbackActiveChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_microphoneMissing, false,
                                         &Self::microphoneMissingChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_followUpsEnabled, false,
                                         &Self::followUpsEnabledChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_englishAssessmentEnabled, false,
                                         &Self::englishAssessmentEnabledChanged)
    Q_OBJECT_BINDABLE_PROPERTY_WITH_ARGS(Self, bool, m_manualMode, false, &Self::manualModeChanged)

    QList<InterviewQuestion> m_questions;
    QList<InterviewPlanTopic> m_interviewPlan;
    std::optional<QString> m_errorMessage;

    WebSocketService& m_webSocket;
    CorvaneAPIService& m_api;
    AudioCaptureService& m_audioCapture;
    platform::SystemAccess& m_systemAccess;
    platform::DefaultsStore& m_defaults;
    platform::Clock& m_clock;
    QPointer<SystemAudioViewModel> m_systemAudioViewModel;

    // True while a lost connection has paused the interview, or the interview has gone on without the
    // connection, and the next session has not been opened yet.
    bool m_pausedByDisconnect = false;
    // The number of finished interviews whose end the server has not acknowledged yet. Their late
    // acknowledgements must not end another interview.
    int m_awaitedEndAcks = 0;
    int m_vadStopSuppressedCount = 0;
    int m_manualStopSentCount = 0;
    platform::OperationScope m_lifetime;
    platform::OperationScope m_microphoneRequest;
    platform::OperationScope
        m_endRequests; // cancelled with the link, as their acknowledgements cannot come then
    std::unique_ptr<InterviewRun> m_run; // null between interviews
};

} // namespace corvane
