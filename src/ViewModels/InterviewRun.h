#pragma once

#include "Platform/Core/Clock.h"
#include "Platform/Core/OperationScope.h"
#include "ViewModels/SoundWatch.h"

#include <QCoroTask>
#include <QObject>

#include <memory>

namespace corvane {

class AudioForwarder;
class InterviewViewModel;
class WebSocketService;

// One interview from its submission to its end: the start, both audio streams, the pauses, and the recovery
// from a lost connection. It sets the fields of the view model that owns it. Destroying it stops the
// forwarding. Main thread.
class InterviewRun : public QObject {
    Q_OBJECT

public:
    struct Services {
        WebSocketService& webSocket;
        AudioCaptureService& audioCapture;
        platform::Clock& clock;
    };
    // The state of the interview, which determines the status that the user sees.
    enum class State {
        waiting,           // for the plan or the questions
        announcing,        // interview_id is being sent
        reannouncing,      // interview_id is being sent to a server that has lost the interview
        startingAudio,     // both captures are being started
        retryingAudio,     // the missing captures are being started
        live,              // sound is sent to the server
        disconnected,      // paused by a lost connection
        pausedByUser,      // paused by the user
        pausedUnannounced, // paused until the user resumes, and unknown to the server
        failed,            // interview_id could not be sent
    };
    enum class Event {
        answered, // the plan or the questions have come
        announced,
        announcingFailed,
        audioStarted,
        pause, // by the user
        resume,
        retry,
        disconnected,
        serverKnows,  // a session was resumed with the interview
        serverForgot, // or without it
        freshSession,
        recoveryFailed,
    };

    InterviewRun(InterviewViewModel& model, Services services);
    ~InterviewRun() override;

    State state() const { return m_state; }
    // Moves the interview to the state that the event leads to. Returns false when the event has no meaning
    // in the present state.
    bool handle(Event event);
    // Returns a ticket for work that ends with the present state.
    platform::OperationTicket ticket() const { return m_operations.ticket(); }

private:
    void enter(State state, Event event);
    void beginAudioCapture();
    void restartInterviewOnServer();
    QCoro::Task<void> sendInterviewId(platform::OperationTicket ticket);
    QCoro::Task<void> resendInterviewId(platform::OperationTicket ticket);
    QCoro::Task<void> startAudioPipeline(platform::OperationTicket ticket);
    QCoro::Task<void> retryCapture(platform::OperationTicket ticket);
    void finishStart(bool micStarted, bool systemStarted, const QString& silentMessage);
    void showSources(bool microphoneRuns, bool systemRuns, const QString& silentMessage);
    void followCapture();
    void receiveCaptureFailure();
    void stopCapture();
    void startForwardingAudioToWebSocket();
    void stopForwardingAudio();
    void receiveSpeechStop(qint64 at);
    QCoro::Task<void> sendSpeechStart();
    QCoro::Task<void> sendSpeechStop(qint64 at);

    InterviewViewModel& m_model;
    WebSocketService& m_webSocket;
    AudioCaptureService& m_audioCapture;
    State m_state = State::waiting;
    platform::OperationScope m_operations; // of the present state
    SoundWatch m_soundWatch;
    // The sources that have been captured in this interview. They are started again automatically; one that
    // has never started waits for the user's "Retry".
    AudioCaptureService::Sources m_everStarted;
    std::unique_ptr<AudioForwarder> m_forwarder;
};

} // namespace corvane
