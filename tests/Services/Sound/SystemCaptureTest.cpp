#include "CaptureFixture.h"

// What becomes of system audio between the platform's buffers and the chunks.
class SystemCaptureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void deliversAChunkEachTick() {
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

    void makesUpForLateTicks() {
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

    // A sound card that gives 3 % more samples than the clock asks for, until the surplus alone would have
    // filled the ring buffer: nothing is lost or delayed.
    void keepsPaceWithADeviceThatRunsFast() {
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

    void marksSpeechWhileItStreams() {
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

    void deliversByMode() {
        for (const auto mode : {AudioCaptureMode::vad, AudioCaptureMode::continuous}) {
            CaptureFixture f;
            waitFor(f.start(mode));
            f.settle();
            f.events.clear();
            f.host.pushSystem(std::vector<float>(7 * 1024, 0.1F));
            f.clock.advance(1s);
            QVERIFY(f.systemFiles.isEmpty());
            f.host.pushSystem(std::vector<float>(45 * 1024));
            const bool marks = mode == AudioCaptureMode::vad;
            QCOMPARE(lengthsOf(f.systemFiles), marks ? QList<qsizetype>{52 * 1024} : QList<qsizetype>());
            QCOMPARE(f.events.size(), marks ? 2 : 0);
        }
    }

    void logsFewFrames() {
        CaptureFixture f;
        waitFor(f.start());
        const std::vector<float> stereo{0.75F, 0.25F, 0.5F, 0.5F};
        for (int i = 0; i < 1000; ++i) {
            f.host.pushSystem(stereo, 2);
        }
        QStringList frames = f.log.lines().filter("SCK frame");
        QCOMPARE(frames.size(), 7);
        QCOMPARE(frames[1],
                 "[Audio] SCK frame #2: 4 floats -> 2 mono samples, ch=2, rms=0.500000, ringBuf=2");
        QVERIFY(frames[5].startsWith("[Audio] SCK frame #500:"));
        QVERIFY(frames[6].startsWith("[Audio] SCK frame #1000:"));
    }
};

QTEST_GUILESS_MAIN(SystemCaptureTest)
#include "SystemCaptureTest.moc"
