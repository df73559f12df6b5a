#pragma once

#include "Platform/Core/OperationScope.h"

#include <QCoroTask>
#include <QObject>
#include <QString>

#include <atomic>
#include <memory>
#include <optional>

namespace platform {
class SystemAccess;
}

namespace corvane {

class AudioCaptureService;
class WebSocketService;

// Captures system audio outside an interview and sends each utterance to the backend as one frame. Main
// thread.
class SystemAudioViewModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isCapturing READ isCapturing NOTIFY isCapturingChanged)
    Q_PROPERTY(QString transcription READ transcription NOTIFY transcriptionChanged)
    Q_PROPERTY(QString aiResponse READ aiResponse NOTIFY aiResponseChanged)
    Q_PROPERTY(QString error READ errorText NOTIFY errorChanged)
    Q_PROPERTY(int recordingElapsed READ recordingElapsed NOTIFY recordingElapsedChanged)
    Q_PROPERTY(bool permissionGranted READ permissionGranted NOTIFY permissionGrantedChanged)

public:
    SystemAudioViewModel(AudioCaptureService& audioCapture, WebSocketService& webSocket,
                         platform::SystemAccess& systemAccess);
    ~SystemAudioViewModel() override;

    bool isCapturing() const { return m_isCapturing; }
    QString transcription() const { return m_transcription; }
    QString aiResponse() const { return m_aiResponse; }
    // Returns why the last failed start failed. It is not cleared when a later one succeeds.
    const std::optional<QString>& error() const { return m_error; }
    QString errorText() const { return m_error.value_or(QString()); }
    int recordingElapsed() const { return m_recordingElapsed; } // s
    bool permissionGranted() const { return m_permissionGranted; }

    // Returns whether an interview is forwarding the chunks itself, in which case this model sends nothing.
    bool interviewOwnsAudio() const { return *m_interviewOwnsAudio; }
    void setInterviewOwnsAudio(bool owns) { *m_interviewOwnsAudio = owns; }

    // Starts the capture and returns at once. To stop it, stop the capture service.
    void startCapture();

Q_SIGNALS:
    void isCapturingChanged();
    void transcriptionChanged();
    void aiResponseChanged();
    void errorChanged();
    void recordingElapsedChanged();
    void permissionGrantedChanged();

private:
    void setupSubscriptions();
    void handleSpeechDetected(const QByteArray& wav);
    QCoro::Task<void> sendUtterance(QByteArray wav);
    QCoro::Task<void> runStart();

    AudioCaptureService& m_audioCapture;
    WebSocketService& m_webSocket;
    platform::SystemAccess& m_systemAccess;
    bool m_isCapturing = false;
    QString m_transcription;
    QString m_aiResponse;
    std::optional<QString> m_error;
    int m_recordingElapsed = 0;
    bool m_permissionGranted = false;
    // Read on the audio thread as well.
    const std::shared_ptr<std::atomic<bool>> m_interviewOwnsAudio =
        std::make_shared<std::atomic<bool>>(false);
    QList<QMetaObject::Connection> m_cancellables; // ended with this object
    platform::OperationScope m_scope;
};

} // namespace corvane
