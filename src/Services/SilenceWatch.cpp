#include "Services/SilenceWatch.h"

#include "Models/AudioModels.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/SampleConversion.h"
#include "Utilities/SignalLevel.h"
#include "Utilities/WAVEncoder.h"

#include <QtEndian>

namespace corvane {

namespace {

constexpr auto silenceLimit = std::chrono::seconds(20);
// Speech at full volume has an RMS of about a tenth of full scale. At a volume below this it stays under the
// noise gate.
constexpr double gateVolume = 10 * static_cast<double>(interviewVadConfig.noiseGateThreshold);

std::chrono::microseconds wavDuration(const QByteArray& wav) {
    const auto samples = (wav.size() - WAVEncoder::headerSize) / 2;
    return std::chrono::microseconds(samples * 1'000'000 / qFromLittleEndian<quint32>(wav.constData() + 24));
}

QString quoted(const QStringList& names) {
    return u'"' + names.join(QStringLiteral("\", \"")) + u'"';
}

// Returns an empty text when no cause is found.
QString reasonFor(const platform::AudioSurvey& survey) {
    if (!survey.heardOutput) {
        return QStringLiteral("there is no sound output");
    }
    const auto& output = *survey.heardOutput;
    if (!output.plays && !survey.otherPlayingOutputs.isEmpty()) {
        return QStringLiteral("the call plays on another output (%1). Make it the default output")
            .arg(quoted(survey.otherPlayingOutputs));
    }
    if (!output.plays) {
        return QStringLiteral("no program is playing sound");
    }
    if (output.muted) {
        return QStringLiteral("the output \"%1\" is muted").arg(output.name);
    }
    if (output.volume < gateVolume) {
        return QStringLiteral("the output \"%1\" is turned down").arg(output.name);
    }
    return {};
}

} // namespace

SilenceWatch::SilenceWatch(AudioCaptureService& audioCapture, platform::AudioHost& host)
    : m_host(host) {
    connect(&audioCapture, &AudioCaptureService::micAudioDetected, this, &SilenceWatch::takeMicrophone);
    connect(&audioCapture, &AudioCaptureService::speechDetected, this, &SilenceWatch::takeSystem);
    connect(&audioCapture, &AudioCaptureService::captureStopped, this, &SilenceWatch::startOver);
}

float SilenceWatch::chunkLevel(const QByteArray& wav) {
    const auto bytes = std::as_bytes(std::span(wav.constData(), static_cast<size_t>(wav.size())));
    return signalLevel(conversion::microphoneSamples(bytes.subspan(WAVEncoder::headerSize), {}, m_samples))
        .rms;
}

void SilenceWatch::takeMicrophone(const QByteArray& wav) {
    m_interviewerSpoke = m_interviewerSpoke || chunkLevel(wav) >= interviewVadConfig.sensitivityRMS;
}

void SilenceWatch::takeSystem(const QByteArray& wav) {
    if (chunkLevel(wav) >= interviewVadConfig.noiseGateThreshold) {
        startOver();
        return;
    }
    m_silence += wavDuration(wav);
    if (m_silence >= silenceLimit && m_interviewerSpoke) {
        // The cause may change, so it is looked for again for as long as the silence lasts.
        m_silence = {};
        platform::startTask(findReason(), "SilenceWatch");
    }
}

void SilenceWatch::startOver() {
    m_scope.cancel();
    m_interviewerSpoke = false;
    m_silence = {};
    setReason({});
}

QCoro::Task<void> SilenceWatch::findReason() {
    const auto ticket = m_scope.ticket();
    QString reason;
    try {
        const auto survey = co_await m_host.survey();
        reason = reasonFor(survey);
    } catch (const platform::AudioError&) {
        // The capture reports this error itself.
    }
    ticket.ensureCurrent();
    setReason(reason.isEmpty() ? reason : QStringLiteral("The candidate is not heard: %1.").arg(reason));
}

void SilenceWatch::setReason(const QString& reason) {
    if (std::exchange(m_reason, reason) != reason) {
        Q_EMIT reasonChanged();
    }
}

} // namespace corvane
