#include "Services/AudioCaptureService.h"

#include "Platform/Core/Dispatch.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/Capture.h"
#include "Services/MicrophonePipeline.h"
#include "Services/SoundMeter.h"
#include "Services/SystemAudioPipeline.h"

#include <array>

namespace corvane {

using namespace std::chrono_literals;
using platform::AudioError;
using platform::logLine;

namespace {

constexpr auto drainInterval = 80ms;

QString modeName(AudioCaptureMode mode) {
    constexpr std::array names{"vad", "continuous", "rawStreaming"};
    return QLatin1String(names[static_cast<size_t>(mode)]);
}

using SystemCapture = Capture<SystemAudioPipeline>;
using MicrophoneCapture = Capture<MicrophonePipeline>;

QCoro::Task<QList<AudioDevice>> toDevices(QCoro::Task<QList<platform::AudioEndpoint>> listing) {
    QList<AudioDevice> devices;
    try {
        const auto endpoints = co_await listing;
        for (const auto& endpoint : endpoints) {
            devices.append({endpoint.id, endpoint.name, false});
        }
    } catch (const AudioError& error) {
        logLine(QStringLiteral("[Audio] Could not list the devices: %1").arg(platform::errorText(error)));
    }
    co_return devices;
}

} // namespace

CaptureError::CaptureError(Kind kind)
    : std::runtime_error(std::array{"No display found", "Screen recording permission not granted",
                                    "No microphone available"}[kind])
    , m_kind(kind) {}

class AudioCaptureService::Private {
public:
    Private(AudioCaptureService* service, platform::AudioHost& host, platform::Clock& clock)
        : q(service)
        , m_host(host)
        , m_clock(clock) {}

    // A capture outlives this object only while it is being started, and it has been stopped by then. So
    // these check the capture's ticket after every wait, before they touch anything else.
    QCoro::Task<void> openSystemStream(std::shared_ptr<SystemCapture> capture, AudioCaptureMode mode,
                                       VadConfig vadConfig);
    QCoro::Task<void> openMicrophoneStream(std::shared_ptr<MicrophoneCapture> capture);
    void systemStreamEnded(const std::shared_ptr<SystemCapture>& capture, const QString& reason);
    void microphoneStreamEnded(const std::shared_ptr<MicrophoneCapture>& capture, const QString& reason);
    void setCapturing(bool capturing);
    void setMicCapturing(bool capturing);
    void setSampleRate(uint32_t rate);

    platform::AudioHost& host() const { return m_host; }
    platform::Clock& clock() const { return m_clock; }

    // Shared with the starts under way.
    const CaptureSlot<SystemCapture> system = std::make_shared<std::shared_ptr<SystemCapture>>();
    const CaptureSlot<MicrophoneCapture> micCaptureSession =
        std::make_shared<std::shared_ptr<MicrophoneCapture>>();
    bool isCapturing = false;
    bool isMicCapturing = false;
    uint32_t sampleRate = 48000;

private:
    std::shared_ptr<SystemAudioPipeline> makeSystemPipeline(AudioCaptureMode mode, VadConfig vadConfig) const;
    std::shared_ptr<MicrophonePipeline> makeMicrophonePipeline();
    void startRawStreamingTimer(SystemCapture& capture);
    template<typename Capture>
    platform::AudioStreamHandlers makeHandlers(const std::shared_ptr<Capture>& capture,
                                               void (Private::*ended)(const std::shared_ptr<Capture>&,
                                                                      const QString&));

    AudioCaptureService* q;
    platform::AudioHost& m_host;
    platform::Clock& m_clock;
    // The device's rate in Hz as last seen, also by an earlier capture. Written on the microphone's thread.
    std::atomic<uint32_t> m_micSampleRate = 48000;
};

std::shared_ptr<SystemAudioPipeline>
AudioCaptureService::Private::makeSystemPipeline(AudioCaptureMode mode, VadConfig vadConfig) const {
    auto* service = q;
    const auto emitFile = [service](const QByteArray& wav) { Q_EMIT service->speechDetected(wav); };
    return std::make_shared<SystemAudioPipeline>(
        mode, vadConfig, sampleRate, m_clock,
        SystemAudioPipeline::Events{
            .utterance = emitFile,
            .speechStarted = [service] { Q_EMIT service->candidateSpeechStarted(); },
            .speechStopped = [service](qint64 at) { Q_EMIT service->candidateSpeechStopped(at); },
            .chunk = emitFile,
        });
}

std::shared_ptr<MicrophonePipeline> AudioCaptureService::Private::makeMicrophonePipeline() {
    return std::make_shared<MicrophonePipeline>(
        m_micSampleRate,
        MicrophonePipeline::Events{
            .chunk = [service = q](const QByteArray& wav) { Q_EMIT service->micAudioDetected(wav); },
            .rateChanged =
                [this](uint32_t rate) {
                    m_micSampleRate = rate;
                    platform::dispatchToMain(q, [this, rate] { setSampleRate(rate); });
                },
        });
}

// The end of a stream is handled in a queued call, since that destroys the stream that reports it. A stream
// that is still being opened may report its end after this object is gone; its ticket is no longer current
// then.
template<typename Capture>
platform::AudioStreamHandlers AudioCaptureService::Private::makeHandlers(
    const std::shared_ptr<Capture>& capture,
    void (Private::*ended)(const std::shared_ptr<Capture>&, const QString&)) {
    return {
        .buffer = [pipeline = capture->pipeline()](
                      const platform::AudioBuffer& buffer) { pipeline->handle(buffer); },
        .stoppedWithError =
            [this, ended, ticket = capture->ticket(), weak = std::weak_ptr(capture)](const QString& reason) {
                platform::dispatchToMain([this, ended, ticket, weak, reason] {
                    if (const auto stillThere = weak.lock(); stillThere && ticket.isCurrent()) {
                        (this->*ended)(stillThere, reason);
                    }
                });
            },
    };
}

QCoro::Task<void> AudioCaptureService::Private::openSystemStream(std::shared_ptr<SystemCapture> capture,
                                                                 AudioCaptureMode mode, VadConfig vadConfig) {
    const auto ticket = capture->ticket();
    logLine(QStringLiteral("[Audio] Getting shareable content..."));
    const auto survey = co_await m_host.survey();
    ticket.ensureCurrent();
    logLine(QStringLiteral("[Audio] Found %1 displays, %2 windows")
                .arg(survey.outputs)
                .arg(survey.playingStreams));
    if (survey.outputs < 1) {
        throw CaptureError(CaptureError::noDisplay);
    }
    // This capture keeps the rate, even if a microphone announces another one later.
    const auto rate = sampleRate;
    capture->setPipeline(makeSystemPipeline(mode, vadConfig));
    logLine(QStringLiteral("[Audio] Creating SCStream (mode: %1, sampleRate: %2)...")
                .arg(modeName(mode))
                .arg(rate));
    platform::SystemStreamConfiguration configuration;
    configuration.sampleRate = rate;
    logLine(QStringLiteral("[Audio] Starting capture..."));
    auto handlers = makeHandlers(capture, &Private::systemStreamEnded);
    auto stream = co_await m_host.startSystemStream(configuration, std::move(handlers));
    ticket.ensureCurrent();
    capture->setStream(std::move(stream));
    logLine(QStringLiteral("[Audio] Capture started successfully"));
    platform::dispatchToMain(q, [this, rate] {
        setCapturing(true);
        Q_EMIT q->captureStarted(rate);
    });
    if (mode == AudioCaptureMode::rawStreaming) {
        startRawStreamingTimer(*capture);
    }
}

void AudioCaptureService::Private::startRawStreamingTimer(SystemCapture& capture) {
    capture.setTimer(m_clock.repeat(drainInterval, [pipeline = capture.pipeline()] { pipeline->drain(); }));
}

QCoro::Task<void>
AudioCaptureService::Private::openMicrophoneStream(std::shared_ptr<MicrophoneCapture> capture) {
    const auto ticket = capture->ticket();
    const auto device = co_await m_host.defaultInput();
    ticket.ensureCurrent();
    if (!device) {
        logLine(QStringLiteral("[Audio] No microphone device found"));
        throw CaptureError(CaptureError::noMicrophone);
    }
    logLine(QStringLiteral("[Audio] Using mic device: '%1' (uniqueID=%2)").arg(device->name, device->id));
    capture->setPipeline(makeMicrophonePipeline());
    auto handlers = makeHandlers(capture, &Private::microphoneStreamEnded);
    std::unique_ptr<platform::AudioStream> stream;
    try {
        stream = co_await m_host.startMicrophoneStream(std::move(handlers));
    } catch (const AudioError& error) {
        if (error.kind() != AudioError::Kind::noDevice) {
            throw;
        }
        // The device has gone in the meantime, or cannot be recorded from.
        logLine(QStringLiteral("[Audio] Cannot add microphone input to capture session"));
        throw CaptureError(CaptureError::noMicrophone);
    }
    ticket.ensureCurrent();
    capture->setStream(std::move(stream));
    logLine(QStringLiteral("[Audio] AVCaptureSession started for microphone"));
    platform::dispatchToMain(q, [this] { setMicCapturing(true); });
}

void AudioCaptureService::Private::systemStreamEnded(const std::shared_ptr<SystemCapture>& capture,
                                                     const QString& reason) {
    capture->setFailure({AudioError::Kind::failed, reason});
    logLine(QStringLiteral("[Audio] System audio stopped: %1").arg(reason));
    q->stopMicrophoneCapture();
    q->stopSystemCapture();
    Q_EMIT q->systemStreamFailed(reason);
}

void AudioCaptureService::Private::microphoneStreamEnded(const std::shared_ptr<MicrophoneCapture>& capture,
                                                         const QString& reason) {
    capture->setFailure({AudioError::Kind::failed, reason});
    logLine(QStringLiteral("[Audio] Microphone stopped: %1").arg(reason));
    q->stopMicrophoneCapture();
    Q_EMIT q->microphoneFailed(reason);
}

void AudioCaptureService::Private::setCapturing(bool capturing) {
    if (std::exchange(isCapturing, capturing) != capturing) {
        Q_EMIT q->isCapturingChanged();
    }
}

void AudioCaptureService::Private::setMicCapturing(bool capturing) {
    if (std::exchange(isMicCapturing, capturing) != capturing) {
        Q_EMIT q->isMicCapturingChanged();
    }
}

void AudioCaptureService::Private::setSampleRate(uint32_t rate) {
    if (std::exchange(sampleRate, rate) != rate) {
        Q_EMIT q->sampleRateChanged();
    }
}

AudioCaptureService::AudioCaptureService(platform::AudioHost& host, platform::Clock& clock)
    : d(std::make_unique<Private>(this, host, clock)) {}

AudioCaptureService::~AudioCaptureService() {
    if (const auto capture = std::exchange(*d->system, nullptr)) {
        capture->stop();
    }
    if (const auto capture = std::exchange(*d->micCaptureSession, nullptr)) {
        capture->stop();
    }
}

bool AudioCaptureService::isCapturing() const {
    return d->isCapturing;
}

bool AudioCaptureService::isMicCapturing() const {
    return d->isMicCapturing;
}

quint32 AudioCaptureService::sampleRate() const {
    return d->sampleRate;
}

QCoro::Task<void> AudioCaptureService::startCapture(AudioCaptureMode mode, VadConfig vadConfig) {
    return startOnce(d->system, QStringLiteral("[Audio] SCK already capturing — skipping"),
                     [p = d.get(), mode, vadConfig](std::shared_ptr<SystemCapture> capture) {
                         return p->openSystemStream(std::move(capture), mode, vadConfig);
                     });
}

void AudioCaptureService::stopSystemCapture() {
    if (const auto capture = std::exchange(*d->system, nullptr)) {
        capture->stop();
    }
    platform::dispatchToMain(this, [this] {
        d->setCapturing(false);
        Q_EMIT captureStopped();
    });
}

QCoro::Task<void> AudioCaptureService::startMicrophoneCapture() {
    return startOnce(d->micCaptureSession, QStringLiteral("[Audio] Mic already capturing — skipping"),
                     [p = d.get()](std::shared_ptr<MicrophoneCapture> capture) {
                         return p->openMicrophoneStream(std::move(capture));
                     });
}

void AudioCaptureService::stopMicrophoneCapture() {
    if (const auto capture = std::exchange(*d->micCaptureSession, nullptr)) {
        const bool wasRunning = !capture->isStarting();
        capture->stop();
        if (wasRunning) {
            logLine(QStringLiteral("[Audio] Microphone capture stopped"));
        }
    }
    platform::dispatchToMain(this, [this] { d->setMicCapturing(false); });
}

QCoro::Task<bool> AudioCaptureService::checkPermission() {
    try {
        co_await d->host().survey();
    } catch (const AudioError& error) {
        logLine(QStringLiteral("[Audio] Permission check failed: %1").arg(platform::errorText(error)));
        logLine(QStringLiteral("[Audio] Error domain: %1, code: %2")
                    .arg(QStringLiteral("AudioError"))
                    .arg(static_cast<int>(error.kind())));
        co_return false;
    }
    co_return true;
}

QCoro::Task<AudioCaptureService::Sources> AudioCaptureService::lookForSources() {
    auto& host = d->host();
    Sources sources;
    try {
        const auto survey = co_await host.survey();
        sources.system = survey.outputs > 0;
        const auto input = co_await host.defaultInput();
        sources.microphone = input.has_value();
    } catch (const AudioError&) {
        // Nothing can be captured, which is what the result says.
    }
    co_return sources;
}

std::unique_ptr<SoundMeter> AudioCaptureService::makeMeter(platform::AudioSourceKind source) {
    return std::make_unique<SoundMeter>(d->host(), d->clock(), source);
}

QCoro::Task<QList<AudioDevice>> AudioCaptureService::getInputDevices() {
    return toDevices(d->host().inputs());
}

QCoro::Task<QList<AudioDevice>> AudioCaptureService::getOutputDevices() {
    return toDevices(d->host().outputs());
}

} // namespace corvane
