#include "CaptureFixture.h"
#include "WaitFor.h"

using namespace std::chrono_literals;
using platform::AudioBuffer;

// What becomes of system audio between the platform's buffers and the chunks.
class SystemCaptureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void deliversAChunkEachTick();
    void makesUpForLateTicks();
    void keepsPaceWithADeviceThatRunsFast();
    void marksSpeechWhileItStreams();
    void deliversUtterancesInModeVad();
    void deliversNothingInModeContinuous();
    void ignoresBadBuffers_data();
    void ignoresBadBuffers();
    void logsFewFrames();
};

void SystemCaptureTest::deliversAChunkEachTick() {
    CaptureFixture f;
    waitFor(f.start());
    f.host.pushSystem(countingSamples(4000));
    QVERIFY(f.systemFiles.isEmpty());
    f.clock.advance(80ms);
    f.clock.advance(80ms);
    f.clock.advance(80ms);
    QCOMPARE(lengthsOf(f.systemFiles), (QList<qsizetype>{3840, 160}));
    QVERIFY(isCounting(f.systemFiles));
    QCOMPARE(f.systemFiles[0].sampleRate, 48000U);
    QCOMPARE(f.systemFiles[0].dataSize, 7680U);
    QCOMPARE(f.systemFiles[1].dataSize, 320U);
}

void SystemCaptureTest::makesUpForLateTicks() {
    CaptureFixture f;
    waitFor(f.start());
    f.host.pushSystem(countingSamples(5 * 3840 + 100));
    QList<qsizetype> afterEachTick;
    for (int tick = 0; tick < 4; ++tick) {
        f.clock.advance(80ms);
        afterEachTick.append(f.systemFiles.size());
    }
    QCOMPARE(afterEachTick, (QList<qsizetype>{2, 4, 5, 6}));
    QCOMPARE(lengthsOf(f.systemFiles), (QList<qsizetype>{3840, 3840, 3840, 3840, 3840, 100}));
    QVERIFY(isCounting(f.systemFiles));
}

// A sound card that gives 3 % more samples than the clock asks for, until the surplus alone would have filled
// the ring buffer: nothing is lost or delayed.
void SystemCaptureTest::keepsPaceWithADeviceThatRunsFast() {
    CaptureFixture f;
    waitFor(f.start());
    qsizetype received = 0;
    QObject::connect(f.service.get(), &AudioCaptureService::speechDetected, f.service.get(),
                     [&received](const QByteArray& wav) { received += (wav.size() - 44) / 2; });
    const std::vector<float> silence(3955);
    qsizetype sent = 0;
    qsizetype worstDelay = 0;
    for (int tick = 0; tick < 1'500; ++tick) {
        f.host.pushSystem(silence);
        sent += 3955;
        f.clock.advance(80ms);
        f.systemFiles.clear();
        worstDelay = std::max(worstDelay, sent - received);
    }
    QVERIFY2(worstDelay < 2 * 3840, qPrintable(QString::number(worstDelay)));
}

void SystemCaptureTest::marksSpeechWhileItStreams() {
    CaptureFixture f;
    waitFor(f.start());
    QCoreApplication::processEvents();
    f.events.clear();
    f.host.pushSystem(std::vector<float>(7 * 1024, 0.1F));
    QCOMPARE(f.events, QStringList{"speech"});
    f.clock.jump(1234ms);
    f.host.pushSystem(std::vector<float>(45 * 1024));
    QCOMPARE(f.events, (QStringList{"speech", "silence 1700000001234"}));
    QVERIFY(f.systemFiles.isEmpty());
}

void SystemCaptureTest::deliversUtterancesInModeVad() {
    CaptureFixture f;
    waitFor(f.start(AudioCaptureMode::vad));
    f.host.pushSystem(std::vector<float>(7 * 1024, 0.1F));
    f.clock.advance(1s);
    QVERIFY(f.systemFiles.isEmpty());
    f.host.pushSystem(std::vector<float>(45 * 1024));
    QCOMPARE(lengthsOf(f.systemFiles), QList<qsizetype>{52 * 1024});
    QCOMPARE(f.events.last(), QStringLiteral("silence %1").arg(f.clock.nowMilliseconds()));
}

void SystemCaptureTest::deliversNothingInModeContinuous() {
    CaptureFixture f;
    waitFor(f.start(AudioCaptureMode::continuous));
    QVERIFY(f.log.contains("[Audio] Creating SCStream (mode: continuous, sampleRate: 48000)..."));
    QCoreApplication::processEvents();
    f.events.clear();
    f.host.pushSystem(std::vector<float>(7 * 1024, 0.1F));
    f.host.pushSystem(std::vector<float>(45 * 1024));
    f.clock.advance(1s);
    QVERIFY(f.systemFiles.isEmpty());
    QVERIFY(f.events.isEmpty());
}

void SystemCaptureTest::ignoresBadBuffers_data() {
    QTest::addColumn<int>("defect");
    QTest::addColumn<bool>("isCounted");
    QTest::newRow("none") << 0 << true;
    QTest::newRow("picture") << 1 << false;
    QTest::newRow("no format") << 2 << false;
    QTest::newRow("no description") << 3 << false;
    QTest::newRow("no data") << 4 << false;
    QTest::newRow("no length") << 5 << false;
    QTest::newRow("less than a float") << 6 << true;
}

void SystemCaptureTest::ignoresBadBuffers() {
    QFETCH(int, defect);
    QFETCH(bool, isCounted);
    CaptureFixture f;
    waitFor(f.start());
    const auto samples = countingSamples(100);
    AudioBuffer buffer;
    buffer.type = defect == 1 ? AudioBuffer::Type::screen : AudioBuffer::Type::audio;
    buffer.hasFormat = defect != 2;
    if (defect != 3) {
        buffer.description = platform::AudioStreamDescription{48000.0, 1, 32, true};
    }
    buffer.data = defect == 4 ? nullptr : std::as_bytes(std::span(samples)).data();
    buffer.length = defect == 5 ? 0 : defect == 6 ? 3 : 400;
    f.host.pushSystem(buffer);
    f.clock.advance(80ms);
    QCOMPARE(f.log.count("[Audio] SCK frame #1:"), isCounted ? 1 : 0);
    QCOMPARE(f.systemFiles.size(), defect == 0 ? 1 : 0);
}

void SystemCaptureTest::logsFewFrames() {
    CaptureFixture f;
    waitFor(f.start());
    const std::vector<float> stereo{0.75F, 0.25F, 0.5F, 0.5F};
    for (int i = 0; i < 1000; ++i) {
        f.host.pushSystem(stereo, 2);
    }
    QStringList frames = f.log.lines().filter("SCK frame");
    QCOMPARE(frames.size(), 7);
    QCOMPARE(
        frames[1],
        QStringLiteral("[Audio] SCK frame #2: 4 floats -> 2 mono samples, ch=2, rms=0.500000, ringBuf=2"));
    QVERIFY(frames[5].startsWith("[Audio] SCK frame #500:"));
    QVERIFY(frames[6].startsWith("[Audio] SCK frame #1000:"));
}

QTEST_GUILESS_MAIN(SystemCaptureTest)
#include "SystemCaptureTest.moc"
