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

// Thrown when there is nothing to capture, by the screen capture too. what() is the text for the user.
class CaptureError : public std::runtime_error {
public:
    enum Kind { noDisplay, noPermission, noMicrophone };
    explicit CaptureError(Kind kind);
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// Captures system audio (the candidate) and the microphone (the interviewer) and emits them as WAV chunks and
// speech events. Operations run on the main thread. Each signal says where it is emitted.
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

    // Throws CaptureError or platform::AudioError. While a capture is running, in any mode, it does nothing;
    // while another start is under way, it waits and ends as that one does. A stop in the meantime makes it
    // throw platform::OperationCancelled.
    QCoro::Task<void> startCapture(AudioCaptureMode mode, VadConfig vadConfig);
    // Stops the capture and drops the samples that have not been delivered, including an open utterance.
    void stopSystemCapture();
    // Like startCapture(). It captures the system's default input, whatever the settings name.
    QCoro::Task<void> startMicrophoneCapture();
    void stopMicrophoneCapture();

    // Returns whether system audio can be captured.
    QCoro::Task<bool> checkPermission();
    // Which sources there are at present; neither when no sound server answers.
    struct Sources {
        bool system = false;
        bool microphone = false;
    };
    // Logs nothing.
    QCoro::Task<Sources> lookForSources();
    // Returns a meter that shows how loud a source is, captured or not, for as long as the meter lives.
    std::unique_ptr<SoundMeter> makeMeter(platform::AudioSourceKind source);
    // These return an empty list, after a log line, when no sound server answers.
    QCoro::Task<QList<AudioDevice>> getInputDevices();
    QCoro::Task<QList<AudioDevice>> getOutputDevices();

Q_SIGNALS:
    void isCapturingChanged();
    void isMicCapturingChanged();
    void sampleRateChanged();

    // Carries a WAV file of system audio. Emitted on the main thread in mode rawStreaming and on the system
    // audio thread in mode vad.
    void speechDetected(const QByteArray& wav);
    // Carries a WAV file of 80 ms from the microphone. Emitted on the microphone's thread.
    void micAudioDetected(const QByteArray& wav);
    // About system audio. Emitted on the main thread, after isCapturing has changed.
    void captureStarted(quint32 sampleRate); // Hz
    void captureStopped();
    // Never emitted at present.
    void recordingProgress(int seconds);
    // Emitted on the system audio thread. `at` is in milliseconds since the Unix epoch.
    void candidateSpeechStarted();
    void candidateSpeechStopped(qint64 at);

    // A stream has ended by itself. Emitted on the main thread after the capture has been stopped. The end of
    // the system stream stops the microphone as well; the end of the microphone stops nothing else.
    void systemStreamFailed(const QString& reason);
    void microphoneFailed(const QString& reason);

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace corvane
