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

// One interview from its submission to its end: the start, both audio streams, the pauses and what a lost
// connection does to it. Writes the fields of the view model that has made it. Its end stops the forwarding.
// Main thread.
class InterviewRun : public QObject {
    Q_OBJECT

public:
    struct Services {
        WebSocketService& webSocket;
        AudioCaptureService& audioCapture;
        platform::Clock& clock;
    };
    // Where the interview is. The status that the user sees follows from it.
    enum class Course {
        waiting,    // for the plan or the questions
        telling,    // interview_id is on its way
        retelling,  // the same, to a server that has lost the interview
        opening,    // both captures are being started
        retrying,   // those that are missing are being started
        live,       // sound goes to the server
        lost,       // paused by a lost connection
        held,       // paused by the user
        heldUntold, // paused until the user resumes, and the server does not know the interview
        failed,     // the server could not be told of it
    };
    enum class Event {
        answered, // the plan or the questions are here
        told,
        tellingFailed,
        opened,
        pause, // by the user
        resume,
        retry,
        linkLost,
        serverKnows,  // a session was resumed with the interview
        serverForgot, // or without it
        freshSession,
        recoveryFailed,
    };

    InterviewRun(InterviewViewModel& model, Services services);
    ~InterviewRun() override;

    Course course() const { return m_course; }
    // Takes the interview to where the event leads from here. False when it leads nowhere.
    bool take(Event event);
    // For work that ends when the interview takes another course.
    platform::OperationTicket ticket() const { return m_operations.ticket(); }

private:
    void enter(Course course, Event event);
    void beginAudioCapture();
    void restartInterviewOnServer();
    QCoro::Task<void> sendInterviewId(platform::OperationTicket ticket);
    QCoro::Task<void> resendInterviewId(platform::OperationTicket ticket);
    QCoro::Task<void> startAudioPipeline(platform::OperationTicket ticket);
    QCoro::Task<void> retryCapture(platform::OperationTicket ticket);
    void finishAudioStart(bool microphoneRuns, bool systemRuns, const QString& silentMessage);
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
    Course m_course = Course::waiting;
    platform::OperationScope m_operations; // of the present course
    SoundWatch m_soundWatch;
    // What has run in this interview: it is taken up again by itself, while what never did waits for the
    // user's "Retry".
    AudioCaptureService::Sources m_heard;
    std::unique_ptr<AudioForwarder> m_forwarder;
};

} // namespace corvane
