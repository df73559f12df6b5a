#pragma once

#include "Platform/Audio/AudioHost.h"
#include "Platform/Core/OperationScope.h"

#include <QObject>

#include <chrono>
#include <vector>

namespace corvane {

class AudioCaptureService;

// Notices that the interviewer speaks and nothing at all comes from the candidate, and finds out why. Stops
// nothing. Main thread.
class SilenceWatch : public QObject {
    Q_OBJECT

public:
    // Watches whatever the service captures.
    SilenceWatch(AudioCaptureService& audioCapture, platform::AudioHost& host);

    // A sentence for the user; empty while the candidate is heard, or while the cause is not to be seen from
    // here.
    const QString& reason() const { return m_reason; }

Q_SIGNALS:
    void reasonChanged();

private:
    void takeMicrophone(const QByteArray& wav);
    void takeSystem(const QByteArray& wav);
    void startOver();
    QCoro::Task<void> findReason();
    void setReason(const QString& reason);
    float levelOf(const QByteArray& wav);

    platform::AudioHost& m_host;
    bool m_interviewerSpoke = false;
    std::chrono::microseconds m_silence{}; // without a break
    QString m_reason;
    std::vector<float> m_samples; // scratch
    platform::OperationScope m_scope;
};

} // namespace corvane
