#include "tests/Services/Sound/CaptureFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

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
    void startsAndStopsInOrder() {
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
        QVERIFY(configuration.excludesCurrentProcessAudio);
        f.service->stopSystemCapture();
        QVERIFY(!f.host.systemRuns() && f.service->isCapturing());
        f.settle();
        QCOMPARE(f.events, (QStringList{"capturing", "started 48000", "not capturing", "stopped"}));
        QCOMPARE(f.clock.timerCount(), 0);

        f.events.clear();
        f.log.clear();
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

    void failedStartReachesTheCaller_data() {
        using Fault = std::function<void(FakeAudioHost&)>;
        const auto row = rows<Fault, bool, QString>();
        const Fault noServer = [](auto& host) {
            host.surveyError.emplace(AudioError::Kind::noServer, "none");
        };
        const Fault noOutput = [](auto& host) { host.surveyResult = {0, 4}; };
        const Fault noMonitor = [](auto& host) {
            host.systemError.emplace(AudioError::Kind::notAMonitor, "not one");
        };
        const Fault noMicrophone = [](auto& host) { host.input.reset(); };
        const Fault gone = [](auto& host) {
            host.microphoneError.emplace(AudioError::Kind::noDevice, "gone");
        };
        const Fault late = [](auto& host) {
            host.microphoneError.emplace(AudioError::Kind::timedOut, "late");
        };
        row("no server", noServer, false, "none");
        row("no output", noOutput, false, "No display found");
        row("no monitor", noMonitor, false, "not one");
        row("no microphone", noMicrophone, true, "No microphone available");
        row("gone", gone, true, "No microphone available");
        row("silent", late, true, "late");
    }
    void failedStartReachesTheCaller() {
        const auto [prepare, microphone, error] =
            currentRow<std::function<void(FakeAudioHost&)>, bool, QString>();
        CaptureFixture f;
        prepare(f.host);
        QCOMPARE(outcomeOf(f.startOne(microphone)), error);
        f.settle();
        QVERIFY(f.events.isEmpty());
        // The server is back.
        f.host.setFailing({});
        f.host.surveyResult = {1, 0};
        f.host.input = platform::AudioEndpoint{"2", "Other"};
        QCOMPARE(outcomeOf(f.startOne(microphone)), "");
        QVERIFY(microphone ? f.host.microphoneRuns() : f.host.systemRuns());
    }

    void secondStartEndsAsTheOneUnderWay() {
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

    // Whether the device is being looked for, or its stream being opened.
    void stopWinsOverAStartUnderWay() {
        for (const auto& [microphone, isOpening] :
             {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
            CaptureFixture f;
            f.host.hold();
            auto first = f.startOne(microphone);
            if (isOpening) {
                f.host.releaseWaiting();
            }
            QCOMPARE(f.host.waitingOperations(), 1);
            f.stopOne(microphone);
            auto second = f.startOne(microphone);
            f.host.release();
            QCOMPARE(outcomeOf(std::move(first)), cancelled);
            QCOMPARE(outcomeOf(std::move(second)), "");
            QVERIFY(microphone ? f.host.microphoneRuns() : f.host.systemRuns());
            QCOMPARE(f.host.systemStreamsOpened() + f.host.microphoneStreamsOpened(), isOpening ? 2 : 1);
            f.stopOne(microphone);
            QVERIFY(!f.host.microphoneRuns() && !f.host.systemRuns());
            f.settle();
            QVERIFY(!f.service->isCapturing() && !f.service->isMicCapturing());
        }
    }

    // A buffer that the platform held back reaches neither the stopped capture nor the one after it.
    void lateBuffersAndTicksDoNothing() {
        CaptureFixture f;
        f.startBoth();
        const auto lateSystem = f.host.systemHandlers();
        const auto lateMicrophone = f.host.microphoneHandlers();
        f.host.pushSystem(countingSamples(5000));
        f.host.pushMicrophone(countingSamples(2000));
        f.service->stopMicrophoneCapture();
        f.service->stopSystemCapture();
        f.startBoth();
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
        f.host.pushSystem(countingSamples(10));
        f.host.pushMicrophone(countingSamples(3840));
        f.clock.advance(80ms);
        QCOMPARE(lengthsOf(f.systemFiles + f.microphoneFiles), (QList<qsizetype>{10, 3840}));
        QVERIFY(isCounting(f.systemFiles) && isCounting(f.microphoneFiles));
    }

    void destructionEndsAStartUnderWay() {
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

    void endOfTheSystemStreamStopsBoth() {
        CaptureFixture f;
        f.startBoth();
        f.host.failSystem("the server is gone");
        f.host.failMicrophone("the server is gone");
        f.settle();
        QVERIFY(!f.host.systemRuns() && !f.host.microphoneRuns());
        QCOMPARE(f.log.lines(), (QStringList{"[Audio] System audio stopped: the server is gone",
                                             "[Audio] Microphone capture stopped"}));
        QCOMPARE(f.events, (QStringList{"system failed: the server is gone", "mic not capturing",
                                        "not capturing", "stopped"}));
        waitFor(f.start());
        QVERIFY(f.host.systemRuns());
    }

    void endOfTheMicrophoneStopsItAlone() {
        CaptureFixture f;
        f.startBoth();
        f.host.failMicrophone("unplugged");
        f.settle();
        QVERIFY(f.host.systemRuns() && !f.host.microphoneRuns());
        QVERIFY(f.log.contains("[Audio] Microphone stopped: unplugged"));
        QCOMPARE(f.events, (QStringList{"microphone failed: unplugged", "mic not capturing"}));
    }

    // The stream is up and ends before the start has heard of it.
    void endDuringAStartFailsIt() {
        CaptureFixture f;
        f.host.holdResults();
        auto start = f.start();
        QCOMPARE(f.host.systemStreamsOpened(), 1);
        f.host.failSystem("gone at once");
        f.settle();
        f.host.release();
        QCOMPARE(outcomeOf(std::move(start)), "gone at once");
        f.settle();
        QVERIFY(!f.host.systemRuns() && !f.service->isCapturing());
    }
};

QTEST_GUILESS_MAIN(CaptureLifecycleTest)
#include "CaptureLifecycleTest.moc"
