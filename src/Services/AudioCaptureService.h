#pragma once

#include "Models/AudioModels.h"
#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/Clock.h"

#include <QByteArray>
#include <QCoroTask>
#include <QList>
#include <QObject>

#include <stdexcept>

namespace corvane {

class SoundMeter;

// There is nothing to capture, a screen's picture included. what() is the text for the user.
class CaptureError : public std::runtime_error {
public:
    enum Kind { noDisplay, noPermission, noMicrophone };
    explicit CaptureError(Kind kind);
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// Brings system audio (the candidate) and the microphone (the interviewer) in, as WAV chunks and speech
// events. Operations on the main thread; each signal says where it is emitted.
class AudioCaptureService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isCapturing READ isCapturing NOTIFY isCapturingChanged)
    Q_PROPERTY(bool isMicCapturing READ isMicCapturing NOTIFY isMicCapturingChanged)
    Q_PROPERTY(quint32 sampleRate READ sampleRate NOTIFY sampleRateChanged)

public:
    AudioCaptureService(platform::AudioHost& host, platform::Clock& clock);
    ~AudioCaptureService() override;

    bool isCapturing() const;
    bool isMicCapturing() const;
    quint32 sampleRate() const; // Hz

    // Throws CaptureError or platform::AudioError. A start while running, in any mode, is skipped and
    // succeeds; while another start is under way it is skipped and ends as that one does. A stop meanwhile
    // wins: the start throws platform::OperationCancelled.
    QCoro::Task<void> startCapture(AudioCaptureMode mode, VadConfig vadConfig);
    // Every sample of the capture that is not yet delivered is lost, an open utterance too.
    void stopSystemCapture();
    // As startCapture. The system's default input, whatever the settings name.
    QCoro::Task<void> startMicrophoneCapture();
    void stopMicrophoneCapture();

    // Whether system audio can be captured.
    QCoro::Task<bool> checkPermission();
    // What there is to capture right now; neither, when no sound server answers. Logs nothing.
    struct Sources {
        bool system = false;
        bool microphone = false;
    };
    QCoro::Task<Sources> lookForSources();
    // Tells how loud a source is, whether it is captured or not, for as long as the meter lives.
    std::unique_ptr<SoundMeter> makeMeter(platform::AudioSourceKind source);
    // Empty, with a log line, when no sound server answers.
    QCoro::Task<QList<AudioDevice>> getInputDevices();
    QCoro::Task<QList<AudioDevice>> getOutputDevices();

Q_SIGNALS:
    void isCapturingChanged();
    void isMicCapturingChanged();
    void sampleRateChanged();

    // A WAV file of system audio. Main thread in mode rawStreaming, the system audio thread in mode vad.
    void speechDetected(const QByteArray& wav);
    // A WAV file of 80 ms of the microphone, on the microphone's thread.
    void micAudioDetected(const QByteArray& wav);
    // Of system audio, on the main thread, after isCapturing has changed.
    void captureStarted(quint32 sampleRate); // Hz
    void captureStopped();
    // Not emitted yet.
    void recordingProgress(int seconds);
    // On the system audio thread. `at` is in milliseconds since the Unix epoch.
    void candidateSpeechStarted();
    void candidateSpeechStopped(qint64 at);

    // A stream ended by itself. Main thread, when what belongs to it has been stopped: the end of the system
    // stream stops the microphone too, that of the microphone nothing else.
    void systemStreamFailed(const QString& reason);
    void microphoneFailed(const QString& reason);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace corvane
