#include "CaptureFixture.h"
#include "WaitFor.h"

#include <limits>

using namespace std::chrono_literals;

// The microphone's chunks, at every rate and beside system audio.
class MicrophoneCaptureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void cutsChunksAtTheDevicesRate_data();
    void cutsChunksAtTheDevicesRate();
    void emitsAsManyChunksAsThereAre();
    void mixesNoRatesInAFile();
    void remembersTheRateFromStartToStart();
    void convertsTheDevicesFormat();
    void ignoresBuffersItCannotRead_data();
    void ignoresBuffersItCannotRead();
    void systemFilesKeepTheirOwnRate();
    void losesTheRemainderAtAStop();
    void logsFewChunks();
};

void MicrophoneCaptureTest::cutsChunksAtTheDevicesRate_data() {
    QTest::addColumn<double>("rate");
    QTest::addColumn<int>("chunk");
    QTest::newRow("48 kHz") << 48000.0 << 3840;
    QTest::newRow("44.1 kHz") << 44100.0 << 3528;
    QTest::newRow("16 kHz") << 16000.0 << 1280;
    QTest::newRow("11.025 kHz") << 11025.0 << 882;
    QTest::newRow("fraction of a Hz") << 22050.9 << 1764;
}

void MicrophoneCaptureTest::cutsChunksAtTheDevicesRate() {
    QFETCH(double, rate);
    QFETCH(int, chunk);
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

void MicrophoneCaptureTest::emitsAsManyChunksAsThereAre() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    f.host.pushMicrophone(countingSamples(5000));
    QCOMPARE(f.microphoneFiles.size(), 1);
    f.host.pushMicrophone(countingSamples(8000, 5000));
    QCOMPARE(f.microphoneFiles.size(), 3);
    f.host.pushMicrophone(countingSamples(2360, 13000));
    QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>(4, 3840));
    QVERIFY(isCounting(f.microphoneFiles));
}

void MicrophoneCaptureTest::mixesNoRatesInAFile() {
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

void MicrophoneCaptureTest::remembersTheRateFromStartToStart() {
    CaptureFixture f;
    for (int i = 0; i < 2; ++i) {
        waitFor(f.service->startMicrophoneCapture());
        f.host.pushMicrophone(countingSamples(3528), 44100.0);
        f.service->stopMicrophoneCapture();
    }
    QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>(2, 3528));
    QCOMPARE(f.log.count("Mic format"), 1);
}

void MicrophoneCaptureTest::convertsTheDevicesFormat() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    std::vector<int16_t> stereo;
    for (int16_t i = 0; i < 3528; ++i) {
        stereo.push_back(static_cast<int16_t>(i + 200));
        stereo.push_back(static_cast<int16_t>(i - 200));
    }
    f.host.pushMicrophone(stereo, 44100.0, 2);
    QVERIFY(f.log.contains("[Audio] Mic format: 44100Hz, 2ch, 16bit, float=0"));
    QCOMPARE(f.microphoneFiles.size(), 1);
    for (int i = 0; i < 3528; ++i) {
        // By 1/32767 and back, truncated: never off by more than one step.
        QVERIFY(std::abs(f.microphoneFiles[0].samples[i] - i) <= 1);
    }
}

void MicrophoneCaptureTest::ignoresBuffersItCannotRead_data() {
    QTest::addColumn<double>("rate");
    QTest::addColumn<int>("defect");
    QTest::newRow("24 bits") << 48000.0 << 1;
    QTest::newRow("no channels") << 48000.0 << 2;
    QTest::newRow("no format") << 48000.0 << 3;
    QTest::newRow("no data") << 48000.0 << 4;
    QTest::newRow("no rate") << 0.0 << 0;
    QTest::newRow("negative rate") << -48000.0 << 0;
    QTest::newRow("rate beyond the header") << 1e10 << 0;
    QTest::newRow("rate is no number") << std::numeric_limits<double>::quiet_NaN() << 0;
}

void MicrophoneCaptureTest::ignoresBuffersItCannotRead() {
    QFETCH(double, rate);
    QFETCH(int, defect);
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    const std::vector<int32_t> block(8000);
    platform::AudioBuffer buffer;
    buffer.data = std::as_bytes(std::span(block)).data();
    buffer.length = block.size() * 4;
    buffer.description = platform::AudioStreamDescription{rate, 1, 32, false};
    buffer.description->bitsPerChannel = defect == 1 ? 24 : 32;
    buffer.description->channelsPerFrame = defect == 2 ? 0 : 1;
    buffer.hasFormat = defect != 3;
    buffer.data = defect == 4 ? nullptr : buffer.data;
    f.host.pushMicrophone(buffer);
    QCOMPARE(f.microphoneFiles.size(), 0);
    // A format without a description is 16 bits, mono, 48 kHz.
    buffer = {};
    buffer.data = std::as_bytes(std::span(block)).data();
    buffer.length = 3840 * 2;
    f.host.pushMicrophone(buffer);
    QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>{3840});
    QCOMPARE(f.microphoneFiles[0].sampleRate, 48000U);
}

void MicrophoneCaptureTest::systemFilesKeepTheirOwnRate() {
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

void MicrophoneCaptureTest::losesTheRemainderAtAStop() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    f.host.pushMicrophone(countingSamples(3000));
    f.service->stopMicrophoneCapture();
    waitFor(f.service->startMicrophoneCapture());
    f.host.pushMicrophone(countingSamples(3840));
    QCOMPARE(lengthsOf(f.microphoneFiles), QList<qsizetype>{3840});
    QVERIFY(isCounting(f.microphoneFiles));
}

void MicrophoneCaptureTest::logsFewChunks() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    std::vector<float> chunk(3840, 0.25F);
    chunk[17] = -0.5F;
    for (int i = 0; i < 700; ++i) {
        f.host.pushMicrophone(chunk);
    }
    const auto lines = f.log.lines().filter("[Audio] Mic chunk total=");
    // The count is the process's: other tests have begun it.
    int hundreds = 0;
    for (const auto& line : lines) {
        const int total = line.section('=', 1).section(',', 0, 0).toInt();
        QVERIFY2(total < 6 || total % 100 == 0, qPrintable(line));
        hundreds += total % 100 == 0 ? 1 : 0;
        QCOMPARE(line.section(", ", 1), QStringLiteral("rms=0.250098, peak=0.500000, sr=48000"));
    }
    QCOMPARE(hundreds, 7);
}

QTEST_GUILESS_MAIN(MicrophoneCaptureTest)
#include "MicrophoneCaptureTest.moc"
