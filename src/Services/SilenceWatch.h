#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/OperationScope.h"

#include <QObject>

#include <chrono>
#include <vector>

namespace corvane {

class AudioCaptureService;

// Notices when the interviewer is speaking and the candidate's side is completely silent, and finds out why.
// It stops nothing. Main thread.
class SilenceWatch : public QObject {
    Q_OBJECT

public:
    // Watches everything that the service captures.
    SilenceWatch(AudioCaptureService& audioCapture, platform::AudioHost& host);

    // Returns a sentence for the user. It is empty while the candidate is heard and while no cause can be
    // seen from here.
    const QString& reason() const { return m_reason; }

Q_SIGNALS:
    void reasonChanged();

private:
    void takeMicrophone(const QByteArray& wav);
    void takeSystem(const QByteArray& wav);
    void startOver();
    QCoro::Task<void> findReason();
    void setReason(const QString& reason);
    float chunkLevel(const QByteArray& wav);

    platform::AudioHost& m_host;
    bool m_interviewerSpoke = false;
    std::chrono::microseconds m_silence{}; // uninterrupted, so far
    QString m_reason;
    std::vector<float> m_samples; // scratch
    platform::OperationScope m_scope;
};

} // namespace corvane
