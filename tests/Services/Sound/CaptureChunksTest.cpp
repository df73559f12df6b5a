#include "tests/Services/Sound/CaptureFixture.h"
#include "tests/Support/Rows.h"

#include <limits>

using namespace corvane;

// What becomes of system audio between the platform's buffers and the chunks.
class CaptureChunksTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void drainsOneChunkATick() {
        CaptureFixture f;
        waitFor(f.start());
        f.host.pushSystem(countingSamples(5 * 3840 + 100));
        QVERIFY(f.systemFiles.isEmpty());
        for (int tick = 1; tick <= 7; ++tick) {
            f.clock.advance(80ms);
            QCOMPARE(f.systemFiles.size(), std::min(tick, 6));
        }
        QCOMPARE(lengthsOf(f.systemFiles), (QList<qsizetype>{3840, 3840, 3840, 3840, 3840, 100}));
        QVERIFY(isCounting(f.systemFiles));
        QCOMPARE(f.systemFiles[5].sampleRate, 48000U);
        QCOMPARE(f.systemFiles[5].dataSize, 200U);
    }

    void deliversByMode_data() {
        const auto row = rows<AudioCaptureMode, QList<qsizetype>, bool>();
        // The files at the end of the speech; what streams comes by the tick.
        row("streaming", AudioCaptureMode::rawStreaming, {}, true);
        row("by the utterance", AudioCaptureMode::vad, {52 * 1024}, true);
        row("continuous", AudioCaptureMode::continuous, {}, false);
    }
    void deliversByMode() {
        const auto [mode, lengths, marks] = currentRow<AudioCaptureMode, QList<qsizetype>, bool>();
        CaptureFixture f;
        waitFor(f.start(mode));
        f.settle();
        f.events.clear();
        f.host.pushSystem(std::vector<float>(7 * 1024, 0.1F));
        QCOMPARE(f.events, marks ? QStringList{"speech"} : QStringList());
        f.clock.jump(1234ms);
        f.host.pushSystem(std::vector<float>(45 * 1024));
        QCOMPARE(f.events, marks ? (QStringList{"speech", "silence 1700000001234"}) : QStringList());
        QCOMPARE(lengthsOf(f.systemFiles), lengths);
        f.clock.advance(1s);
        QCOMPARE(f.systemFiles.size(), mode == AudioCaptureMode::rawStreaming ? 12 : lengths.size());
    }

    void cutsChunksAtTheDevicesRate() {
        for (const auto& [rate, chunk] : {std::pair(48000.0, 3840), {44100.0, 3528}, {22050.9, 1764}}) {
            CaptureFixture f;
            waitFor(f.service->startMicrophoneCapture());
            for (int at = 0; at < 3 * chunk + 50; at += 441) {
                f.host.pushMicrophone(countingSamples(441, at), rate);
            }
            QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>(3, chunk));
            QVERIFY(isCounting(f.microphoneFiles));
            const auto whole = static_cast<quint32>(rate);
            QCOMPARE(f.microphoneFiles[0].sampleRate, whole);
            QCOMPARE(f.log.count("[Audio] Mic format:"), whole == 48000 ? 0 : 1);
            QCoreApplication::processEvents();
            QCOMPARE(f.service->sampleRate(), whole);
        }
    }

    void mixesNoRatesInAFile() {
        CaptureFixture f;
        waitFor(f.service->startMicrophoneCapture());
        f.host.pushMicrophone(countingSamples(1000));
        f.host.pushMicrophone(countingSamples(1280, 1000), 16000.0);
        f.host.pushMicrophone(countingSamples(3840, 2280));
        QCOMPARE(lengthsOf(f.microphoneFiles), (QList<qsizetype>{1000, 1280, 3840}));
        QVERIFY(isCounting(f.microphoneFiles));
        QCOMPARE(f.microphoneFiles[0].sampleRate, 48000U);
        QCOMPARE(f.microphoneFiles[1].sampleRate, 16000U);
        QCOMPARE(f.microphoneFiles[2].sampleRate, 48000U);
        QCOMPARE(f.log.lines().filter("Mic format"),
                 (QStringList{"[Audio] Mic format: 16000Hz, 1ch, 32bit, float=1",
                              "[Audio] Mic format: 48000Hz, 1ch, 32bit, float=1"}));
    }

    void ignoresBuffersItCannotRead() {
        CaptureFixture f;
        f.startBoth();
        const std::vector<int32_t> block(8000);
        const auto push = [&](double rate, uint32_t channels, uint32_t bits) {
            platform::AudioBuffer buffer;
            buffer.data = std::as_bytes(std::span(block)).data();
            buffer.length = block.size() * 4;
            buffer.description = platform::AudioStreamDescription{rate, channels, bits, false};
            f.host.pushMicrophone(buffer);
            buffer.description = platform::AudioStreamDescription{48000.0, 1, 32, true};
            buffer.hasFormat = false;
            f.host.pushMicrophone(buffer);
            f.host.pushSystem(buffer);
            buffer.hasFormat = true;
            buffer.type = platform::AudioBuffer::Type::screen;
            f.host.pushSystem(buffer);
            buffer.type = platform::AudioBuffer::Type::audio;
            buffer.data = nullptr;
            f.host.pushMicrophone(buffer);
            f.host.pushSystem(buffer);
        };
        push(48000.0, 1, 24);
        push(48000.0, 0, 32);
        for (const double rate : {0.0, -48000.0, 1e10, std::numeric_limits<double>::quiet_NaN()}) {
            push(rate, 1, 32);
        }
        f.clock.advance(80ms);
        QVERIFY(f.microphoneFiles.isEmpty() && f.systemFiles.isEmpty());
        // A format without a description is 16 bits, mono, 48 kHz.
        platform::AudioBuffer buffer;
        buffer.data = std::as_bytes(std::span(block)).data();
        buffer.length = 3840 * 2;
        f.host.pushMicrophone(buffer);
        QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>{3840});
        QCOMPARE(f.microphoneFiles[0].sampleRate, 48000U);
    }

    void systemFilesKeepTheirOwnRate() {
        CaptureFixture f;
        waitFor(f.service->startMicrophoneCapture());
        waitFor(f.start());
        f.host.pushMicrophone(countingSamples(3528), 44100.0);
        QCoreApplication::processEvents();
        QCOMPARE(f.service->sampleRate(), 44100U);
        f.host.pushSystem(countingSamples(3840));
        f.clock.advance(80ms);
        QCOMPARE(lengthsOf(f.systemFiles), QList<qsizetype>{3840});
        QCOMPARE(f.systemFiles[0].sampleRate, 48000U);

        // The next start takes over the rate in use.
        f.service->stopSystemCapture();
        waitFor(f.start());
        QCOMPARE(f.host.systemStarts().back().sampleRate, 44100U);
        f.host.pushSystem(countingSamples(3528));
        f.clock.advance(80ms);
        QCOMPARE(lengthsOf(f.systemFiles), (QList<qsizetype>{3840, 3528}));
        QCOMPARE(f.systemFiles[1].sampleRate, 44100U);
        QVERIFY(f.events.contains("started 44100"));
    }
};

QTEST_GUILESS_MAIN(CaptureChunksTest)
#include "CaptureChunksTest.moc"
