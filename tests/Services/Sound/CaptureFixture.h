#pragma once

#include "AudioCaptureService.h"
#include "FakeAudioHost.h"
#include "FakeClock.h"
#include "LogCapture.h"
#include "WavFile.h"

#include <QCoreApplication>

#include <cmath>

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
        auto* source = service.get();
        const auto note = [this](const QString& event) { events.append(event); };
        QObject::connect(source, &Service::speechDetected, source,
                         [this](const QByteArray& wav) { systemFiles.append(WavFile(wav)); });
        QObject::connect(source, &Service::micAudioDetected, source,
                         [this](const QByteArray& wav) { microphoneFiles.append(WavFile(wav)); });
        QObject::connect(source, &Service::captureStarted, source,
                         [note](quint32 rate) { note(QStringLiteral("started %1").arg(rate)); });
        QObject::connect(source, &Service::captureStopped, source, [note] { note("stopped"); });
        QObject::connect(source, &Service::candidateSpeechStarted, source, [note] { note("speech"); });
        QObject::connect(source, &Service::candidateSpeechStopped, source,
                         [note](qint64 at) { note(QStringLiteral("silence %1").arg(at)); });
        QObject::connect(source, &Service::systemStreamFailed, source,
                         [note](const QString& reason) { note("system failed: " + reason); });
        QObject::connect(source, &Service::microphoneFailed, source,
                         [note](const QString& reason) { note("microphone failed: " + reason); });
        QObject::connect(source, &Service::isCapturingChanged, source,
                         [this, note] { note(service->isCapturing() ? "capturing" : "not capturing"); });
        QObject::connect(source, &Service::isMicCapturingChanged, source, [this, note] {
            note(service->isMicCapturing() ? "mic capturing" : "mic not capturing");
        });
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
