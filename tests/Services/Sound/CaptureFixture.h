#pragma once

#include "Services/AudioCaptureService.h"
#include "tests/Support/FakeAudioHost.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/WaitFor.h"

#include <QtEndian>

#include <cmath>

namespace corvane {

using namespace std::chrono_literals;

// What a test wants to know of a mono 16-bit WAV file.
struct WavFile {
    explicit WavFile(const QByteArray& bytes)
        : sampleRate(qFromLittleEndian<quint32>(bytes.constData() + 24))
        , dataSize(qFromLittleEndian<quint32>(bytes.constData() + 40)) {
        for (qsizetype i = 44; i + 1 < bytes.size(); i += 2) {
            samples.append(qFromLittleEndian<qint16>(bytes.constData() + i));
        }
    }

    quint32 sampleRate;
    quint32 dataSize;
    QList<qint16> samples;
};

// A capture service on a sound server and a clock of the test's own, and what it emits.
struct CaptureFixture {
    FakeAudioHost host;
    FakeClock clock;
    LogCapture log;
    QList<WavFile> systemFiles;
    QList<WavFile> microphoneFiles;
    QStringList events;
    std::unique_ptr<AudioCaptureService> service = std::make_unique<AudioCaptureService>(host, clock);

    CaptureFixture() {
        using Service = AudioCaptureService;
        on(&Service::speechDetected, [this](const QByteArray& wav) { systemFiles.append(WavFile(wav)); });
        on(&Service::micAudioDetected,
           [this](const QByteArray& wav) { microphoneFiles.append(WavFile(wav)); });
        on(&Service::captureStarted,
           [this](quint32 rate) { events += QStringLiteral("started %1").arg(rate); });
        on(&Service::captureStopped, [this] { events += "stopped"; });
        on(&Service::candidateSpeechStarted, [this] { events += "speech"; });
        on(&Service::candidateSpeechStopped,
           [this](qint64 at) { events += QStringLiteral("silence %1").arg(at); });
        on(&Service::systemStreamFailed,
           [this](const QString& reason) { events += "system failed: " + reason; });
        on(&Service::microphoneFailed,
           [this](const QString& reason) { events += "microphone failed: " + reason; });
        on(&Service::isCapturingChanged,
           [this] { events += service->isCapturing() ? "capturing" : "not capturing"; });
        on(&Service::isMicCapturingChanged,
           [this] { events += service->isMicCapturing() ? "mic capturing" : "mic not capturing"; });
    }

    template<typename Signal, typename Slot>
    void on(Signal signal, Slot slot) {
        QObject::connect(service.get(), signal, service.get(), slot);
    }

    // Until what was queued by what was queued has happened too.
    void settle() {
        for (int i = 0; i < 3; ++i) {
            QCoreApplication::processEvents();
        }
    }

    QCoro::Task<void> start(AudioCaptureMode mode = AudioCaptureMode::rawStreaming) {
        return service->startCapture(mode, interviewVadConfig);
    }
    QCoro::Task<void> startOne(bool microphone) {
        return microphone ? service->startMicrophoneCapture() : start();
    }
    void stopOne(bool microphone) {
        microphone ? service->stopMicrophoneCapture() : service->stopSystemCapture();
    }
    // What was emitted and logged so far is forgotten.
    void startBoth() {
        waitFor(service->startMicrophoneCapture());
        waitFor(start());
        settle();
        events.clear();
        log.clear();
    }
};

// Samples that tell their place: the integer of sample i in a file is the i-th of this count.
inline std::vector<float> countingSamples(size_t count, int from = 0) {
    std::vector<float> samples(count);
    for (size_t i = 0; i < count; ++i) {
        samples[i] = (static_cast<float>((from + static_cast<int>(i)) % 20000) + 0.5F) / 32767.0F;
    }
    return samples;
}

// Whether files hold exactly the counting samples, in order and without a gap.
inline bool isCounting(const QList<WavFile>& files, int from = 0) {
    for (const auto& file : files) {
        for (const auto sample : file.samples) {
            if (sample != from++ % 20000) {
                return false;
            }
        }
    }
    return true;
}

inline QList<qsizetype> lengthsOf(const QList<WavFile>& files) {
    QList<qsizetype> lengths;
    for (const auto& file : files) {
        lengths.append(file.samples.size());
    }
    return lengths;
}

} // namespace corvane
