#include "CaptureFixture.h"
#include "WaitFor.h"

using namespace std::chrono_literals;
using platform::AudioError;

namespace {

// How a start ends: "" or the text of what it throws.
QString outcomeOf(QCoro::Task<void> task) {
    try {
        waitFor(std::move(task));
    } catch (const std::exception& error) {
        return QString::fromUtf8(error.what());
    }
    return {};
}

const auto cancelled = QString::fromUtf8(platform::OperationCancelled().what());

} // namespace

// Starts, stops and ends of the two captures, in every order.
class CaptureLifecycleTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startsAndStopsInOrder();
    void startsAndStopsTheMicrophone();
    void skipsASecondStart();
    void failedStartReachesTheCaller_data();
    void failedStartReachesTheCaller();
    void secondStartEndsAsTheOneUnderWay();
    void stopWinsOverAStartUnderWay_data();
    void stopWinsOverAStartUnderWay();
    void startRightAfterAStopRuns();
    void lateBuffersAndTicksDoNothing();
    void stopMayComeFromAChunk();
    void stopWithoutARun();
    void destructionEndsAStartUnderWay();
    void endOfTheSystemStreamStopsBoth();
    void endOfTheMicrophoneStopsItAlone();
    void endDuringAStartFailsIt();
    void checksPermission();
    void listsDevices();
};

void CaptureLifecycleTest::startsAndStopsInOrder() {
    CaptureFixture f;
    f.host.surveyResult = {2, 3};
    auto start = f.start();
    QCOMPARE(f.log.lines(),
             (QStringList{"[Audio] Getting shareable content...", "[Audio] Found 2 displays, 3 windows",
                          "[Audio] Creating SCStream (mode: rawStreaming, sampleRate: 48000)...",
                          "[Audio] Starting capture...", "[Audio] Capture started successfully"}));
    QVERIFY(!f.service->isCapturing());
    waitFor(std::move(start));
    f.settle();
    const auto& configuration = f.host.systemStarts().back();
    QCOMPARE(configuration.sampleRate, 48000U);
    QCOMPARE(configuration.channelCount, 1U);
    QVERIFY(configuration.excludesCurrentProcessAudio);

    f.log.clear();
    f.service->stopSystemCapture();
    QVERIFY(!f.host.systemRuns());
    QVERIFY(f.service->isCapturing());
    f.settle();
    QCOMPARE(f.events, (QStringList{"capturing", "started 48000", "not capturing", "stopped"}));
    QCOMPARE(f.clock.timerCount(), 0);
    QVERIFY(f.log.lines().isEmpty());
}

void CaptureLifecycleTest::startsAndStopsTheMicrophone() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    f.settle();
    f.service->stopMicrophoneCapture();
    QVERIFY(!f.host.microphoneRuns());
    f.settle();
    QCOMPARE(f.events, (QStringList{"mic capturing", "mic not capturing"}));
    QCOMPARE(f.log.lines(), (QStringList{"[Audio] Using mic device: 'Test microphone' (uniqueID=1)",
                                         "[Audio] AVCaptureSession started for microphone",
                                         "[Audio] Microphone capture stopped"}));
}

void CaptureLifecycleTest::skipsASecondStart() {
    CaptureFixture f;
    waitFor(f.start(AudioCaptureMode::vad));
    waitFor(f.service->startMicrophoneCapture());
    f.log.clear();
    QCOMPARE(outcomeOf(f.start(AudioCaptureMode::rawStreaming)), QString());
    QCOMPARE(outcomeOf(f.service->startMicrophoneCapture()), QString());
    QCOMPARE(f.log.lines(), (QStringList{"[Audio] SCK already capturing — skipping",
                                         "[Audio] Mic already capturing — skipping"}));
    QCOMPARE(f.host.systemStreamsOpened(), 1);
    QCOMPARE(f.host.microphoneStreamsOpened(), 1);
    // The mode stays: no chunk at a tick.
    f.host.pushSystem(countingSamples(3840));
    f.clock.advance(1s);
    QVERIFY(f.systemFiles.isEmpty());
}

void CaptureLifecycleTest::failedStartReachesTheCaller_data() {
    using Prepare = void (*)(FakeAudioHost&);
    QTest::addColumn<Prepare>("prepare");
    QTest::addColumn<bool>("isMicrophone");
    QTest::addColumn<QString>("error");
    QTest::addColumn<QString>("lastLine");
    const auto row = [](const char* name, bool isMicrophone, const char* error, const char* lastLine,
                        Prepare prepare) {
        QTest::newRow(name) << prepare << isMicrophone << QString(error) << QString(lastLine);
    };
    row("no server", false, "no answer", "[Audio] Getting shareable content...",
        [](FakeAudioHost& host) { host.surveyError.emplace(AudioError::Kind::noServer, "no answer"); });
    row("no output", false, "No display found", "[Audio] Found 0 displays, 4 windows",
        [](FakeAudioHost& host) {
            host.surveyResult = {0, 4};
        });
    row("no monitor", false, "not a monitor", "[Audio] Starting capture...", [](FakeAudioHost& host) {
        host.systemError.emplace(AudioError::Kind::notAMonitor, "not a monitor");
    });
    row("no microphone", true, "No microphone available", "[Audio] No microphone device found",
        [](FakeAudioHost& host) { host.input.reset(); });
    row("microphone gone", true, "No microphone available",
        "[Audio] Cannot add microphone input to capture session",
        [](FakeAudioHost& host) { host.microphoneError.emplace(AudioError::Kind::noDevice, "gone"); });
    row("microphone silent", true, "too late", "[Audio] Using mic device: 'Test microphone' (uniqueID=1)",
        [](FakeAudioHost& host) { host.microphoneError.emplace(AudioError::Kind::timedOut, "too late"); });
}

void CaptureLifecycleTest::failedStartReachesTheCaller() {
    using Prepare = void (*)(FakeAudioHost&);
    QFETCH(Prepare, prepare);
    QFETCH(bool, isMicrophone);
    CaptureFixture f;
    const auto start = [&] { return isMicrophone ? f.service->startMicrophoneCapture() : f.start(); };
    prepare(f.host);
    QTEST(outcomeOf(start()), "error");
    QTEST(f.log.lines().last(), "lastLine");
    f.settle();
    QVERIFY(f.events.isEmpty());
    // The server is back.
    f.host.surveyError.reset();
    f.host.surveyResult = {1, 0};
    f.host.systemError.reset();
    f.host.microphoneError.reset();
    f.host.input = platform::AudioEndpoint{"2", "Other"};
    QCOMPARE(outcomeOf(start()), QString());
    QVERIFY(isMicrophone ? f.host.microphoneRuns() : f.host.systemRuns());
}

void CaptureLifecycleTest::secondStartEndsAsTheOneUnderWay() {
    for (const bool fails : {false, true}) {
        CaptureFixture f;
        f.host.hold();
        auto first = f.start();
        auto second = f.start();
        QCOMPARE(f.log.lines().last(), "[Audio] SCK already capturing — skipping");
        if (fails) {
            f.host.surveyError.emplace(AudioError::Kind::noServer, "no answer");
        }
        f.host.release();
        QCOMPARE(outcomeOf(std::move(first)), fails ? "no answer" : "");
        QCOMPARE(outcomeOf(std::move(second)), fails ? "no answer" : "");
        QCOMPARE(f.host.systemStreamsOpened(), fails ? 0 : 1);
    }
}

void CaptureLifecycleTest::stopWinsOverAStartUnderWay_data() {
    QTest::addColumn<bool>("isMicrophone");
    QTest::addColumn<bool>("isOpening"); // else the step before
    QTest::newRow("system, survey") << false << false;
    QTest::newRow("system, stream") << false << true;
    QTest::newRow("microphone, device") << true << false;
    QTest::newRow("microphone, stream") << true << true;
}

void CaptureLifecycleTest::stopWinsOverAStartUnderWay() {
    QFETCH(bool, isMicrophone);
    QFETCH(bool, isOpening);
    CaptureFixture f;
    const auto start = [&] { return isMicrophone ? f.service->startMicrophoneCapture() : f.start(); };
    f.host.hold();
    auto first = start();
    if (isOpening) {
        f.host.releaseWaiting();
    }
    QCOMPARE(f.host.waitingOperations(), 1);
    isMicrophone ? f.service->stopMicrophoneCapture() : f.service->stopSystemCapture();
    auto second = start();
    f.host.release();
    QCOMPARE(outcomeOf(std::move(first)), cancelled);
    QCOMPARE(outcomeOf(std::move(second)), QString());
    QVERIFY(isMicrophone ? f.host.microphoneRuns() : f.host.systemRuns());
    QCOMPARE(f.host.systemStreamsOpened() + f.host.microphoneStreamsOpened(), isOpening ? 2 : 1);
    isMicrophone ? f.service->stopMicrophoneCapture() : f.service->stopSystemCapture();
    QVERIFY(!f.host.microphoneRuns() && !f.host.systemRuns());
    f.settle();
    QVERIFY(!f.service->isCapturing() && !f.service->isMicCapturing());
}

void CaptureLifecycleTest::startRightAfterAStopRuns() {
    CaptureFixture f;
    waitFor(f.start());
    f.service->stopSystemCapture();
    waitFor(f.start());
    f.settle();
    QVERIFY(f.service->isCapturing());
    QVERIFY(f.host.systemRuns());
    f.host.pushSystem(countingSamples(10));
    f.clock.advance(80ms);
    QCOMPARE(lengthsOf(f.systemFiles), QList<qsizetype>{10});
}

// A buffer that the platform held back reaches neither the stopped capture nor the one after it.
void CaptureLifecycleTest::lateBuffersAndTicksDoNothing() {
    CaptureFixture f;
    waitFor(f.start());
    waitFor(f.service->startMicrophoneCapture());
    const auto lateSystem = f.host.systemHandlers();
    const auto lateMicrophone = f.host.microphoneHandlers();
    f.host.pushSystem(countingSamples(5000));
    f.host.pushMicrophone(countingSamples(2000));
    f.service->stopMicrophoneCapture();
    f.service->stopSystemCapture();
    waitFor(f.start());
    waitFor(f.service->startMicrophoneCapture());
    f.settle();
    f.events.clear();
    const std::vector<float> loud(20'000, 0.5F);
    platform::AudioBuffer buffer;
    buffer.description = platform::AudioStreamDescription{44100.0, 1, 32, true};
    buffer.data = std::as_bytes(std::span(loud)).data();
    buffer.length = loud.size() * sizeof(float);
    lateSystem.buffer(buffer);
    lateMicrophone.buffer(buffer);
    lateSystem.stoppedWithError("late");
    f.clock.advance(1s);
    QVERIFY(f.systemFiles.isEmpty() && f.microphoneFiles.isEmpty() && f.events.isEmpty());
    QCOMPARE(f.service->sampleRate(), 48000U);
    QVERIFY(f.host.systemRuns() && f.host.microphoneRuns());
}

void CaptureLifecycleTest::stopMayComeFromAChunk() {
    CaptureFixture f;
    waitFor(f.start());
    QObject::connect(f.service.get(), &AudioCaptureService::speechDetected, f.service.get(),
                     [&f] { f.service->stopSystemCapture(); });
    f.host.pushSystem(countingSamples(10'000));
    f.clock.advance(1s);
    QCOMPARE(f.systemFiles.size(), 1);
    QVERIFY(!f.host.systemRuns());
}

void CaptureLifecycleTest::stopWithoutARun() {
    CaptureFixture f;
    f.service->stopMicrophoneCapture();
    f.service->stopSystemCapture();
    f.settle();
    QCOMPARE(f.events, QStringList{"stopped"});
    QVERIFY(f.log.lines().isEmpty());
}

void CaptureLifecycleTest::destructionEndsAStartUnderWay() {
    CaptureFixture f;
    f.host.hold();
    auto system = f.start();
    auto follower = f.start();
    auto microphone = f.service->startMicrophoneCapture();
    f.service.reset();
    f.host.release();
    QCOMPARE(outcomeOf(std::move(system)), cancelled);
    QCOMPARE(outcomeOf(std::move(follower)), cancelled);
    QCOMPARE(outcomeOf(std::move(microphone)), cancelled);
    QVERIFY(!f.host.systemRuns() && !f.host.microphoneRuns());
}

void CaptureLifecycleTest::endOfTheSystemStreamStopsBoth() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    waitFor(f.start());
    f.settle();
    f.events.clear();
    f.log.clear();
    f.host.failSystem("the server is gone");
    f.host.failMicrophone("the server is gone");
    f.settle();
    QVERIFY(!f.host.systemRuns() && !f.host.microphoneRuns());
    QCOMPARE(f.log.lines(), (QStringList{"[Audio] System audio stopped: the server is gone",
                                         "[Audio] Microphone capture stopped"}));
    QCOMPARE(f.events, (QStringList{"system failed: the server is gone", "mic not capturing", "not capturing",
                                    "stopped"}));
    waitFor(f.start());
    QVERIFY(f.host.systemRuns());
}

void CaptureLifecycleTest::endOfTheMicrophoneStopsItAlone() {
    CaptureFixture f;
    waitFor(f.service->startMicrophoneCapture());
    waitFor(f.start());
    f.settle();
    f.events.clear();
    f.log.clear();
    f.host.failMicrophone("unplugged");
    f.settle();
    QVERIFY(f.host.systemRuns() && !f.host.microphoneRuns());
    QCOMPARE(f.log.lines(),
             (QStringList{"[Audio] Microphone stopped: unplugged", "[Audio] Microphone capture stopped"}));
    QCOMPARE(f.events, (QStringList{"microphone failed: unplugged", "mic not capturing"}));
}

// The stream is up and ends before the start has heard of it.
void CaptureLifecycleTest::endDuringAStartFailsIt() {
    CaptureFixture f;
    f.host.holdResults();
    auto start = f.start();
    QCOMPARE(f.host.systemStreamsOpened(), 1);
    f.host.failSystem("gone at once");
    f.settle();
    f.host.release();
    QCOMPARE(outcomeOf(std::move(start)), "gone at once");
    QVERIFY(!f.host.systemRuns());
    f.settle();
    QVERIFY(!f.service->isCapturing());
}

void CaptureLifecycleTest::checksPermission() {
    CaptureFixture f;
    f.host.surveyResult = {0, 0};
    QVERIFY(::waitFor(f.service->checkPermission()));
    QVERIFY(f.log.lines().isEmpty());
    f.host.surveyError.emplace(AudioError::Kind::timedOut, "no answer");
    QVERIFY(!::waitFor(f.service->checkPermission()));
    QCOMPARE(f.log.lines(), (QStringList{"[Audio] Permission check failed: no answer",
                                         "[Audio] Error domain: AudioError, code: 3"}));
}

void CaptureLifecycleTest::listsDevices() {
    CaptureFixture f;
    f.host.inputList = {{"3", "Headset"}, {"5", "Camera"}};
    f.host.outputList = {{"0", "Speakers"}};
    QCOMPARE(::waitFor(f.service->getInputDevices()),
             (QList<AudioDevice>{{"3", "Headset", false}, {"5", "Camera", false}}));
    QCOMPARE(::waitFor(f.service->getOutputDevices()), (QList<AudioDevice>{{"0", "Speakers", false}}));
    f.host.listError.emplace(AudioError::Kind::noServer, "no answer");
    QCOMPARE(::waitFor(f.service->getInputDevices()), QList<AudioDevice>());
    QCOMPARE(f.log.lines(), QStringList{"[Audio] No device list: no answer"});
}

QTEST_GUILESS_MAIN(CaptureLifecycleTest)
#include "CaptureLifecycleTest.moc"
