#include "tests/Services/Sound/CaptureFixture.h"

#include <semaphore>
#include <thread>

using namespace corvane;

// Buffers arrive on their own threads while captures come and go.
class CaptureThreadsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The stream runs, and its start is not answered yet: the service's end waits for the handler under way,
    // which would emit from freed memory.
    void endDuringAStartWaitsForTheHandler() {
        for (const bool microphone : {false, true}) {
            CaptureFixture f;
            std::binary_semaphore entered(0);
            std::atomic<bool> isEnded = false;
            std::atomic<bool> isInside = false;
            const auto linger = [&] {
                isInside = true;
                entered.release();
                for (int i = 0; i < 100 && !isEnded; ++i) {
                    std::this_thread::sleep_for(1ms);
                }
                isInside = false;
            };
            QObject context;
            QObject::connect(f.service.get(), &AudioCaptureService::micAudioDetected, &context, linger,
                             Qt::DirectConnection);
            QObject::connect(f.service.get(), &AudioCaptureService::candidateSpeechStarted, &context, linger,
                             Qt::DirectConnection);
            f.host.holdResults();
            auto start = f.startOne(microphone);
            const std::vector<float> speech(3840, 0.2F);
            std::jthread source(
                [&] { microphone ? f.host.pushMicrophone(speech) : f.host.pushSystem(speech); });
            entered.acquire();
            f.service.reset();
            isEnded = true;
            QVERIFY(!isInside);
            source.join();
            f.host.release();
            QVERIFY_EXCEPTION_THROWN(waitFor(std::move(start)), platform::OperationCancelled);
        }
    }

    void survivesAThousandStartsAndStops() {
        using Service = AudioCaptureService;
        const LogCapture log;
        FakeAudioHost host;
        FakeClock clock;
        Service service(host, clock);
        // Between a stop and the next start nothing may come out.
        std::atomic<bool> isStopped = true;
        std::atomic<int> lateEvents = 0;
        std::atomic<int> chunks = 0;
        const auto see = [&] {
            ++chunks;
            lateEvents += isStopped ? 1 : 0;
        };
        QObject::connect(&service, &Service::micAudioDetected, &service, see, Qt::DirectConnection);
        QObject::connect(&service, &Service::speechDetected, &service, see, Qt::DirectConnection);
        QObject::connect(&service, &Service::candidateSpeechStarted, &service, see, Qt::DirectConnection);
        QObject::connect(&service, &Service::candidateSpeechStopped, &service, see, Qt::DirectConnection);

        // Lets the main thread in, which waits for the handlers at each stop.
        constexpr auto pause = 20us;
        const std::vector<float> speech(2500, 0.2F);
        const std::vector<float> silence(46 * 1024);
        std::jthread system([&](const std::stop_token& stop) {
            for (int i = 0; !stop.stop_requested(); ++i) {
                host.pushSystem(i % 8 == 7 ? silence : speech);
                std::this_thread::sleep_for(pause);
            }
        });
        std::jthread microphone([&](const std::stop_token& stop) {
            for (int i = 0; !stop.stop_requested(); ++i) {
                host.pushMicrophone(speech, i / 4 % 2 == 0 ? 48000.0 : 44100.0);
                std::this_thread::sleep_for(pause);
            }
        });
        for (int i = 0; i < 1000; ++i) {
            isStopped = false;
            waitFor(service.startMicrophoneCapture());
            waitFor(service.startCapture(i % 3 == 0 ? AudioCaptureMode::vad : AudioCaptureMode::rawStreaming,
                                         interviewVadConfig));
            for (const int before = chunks; i % 50 == 0 && chunks == before;) {
                std::this_thread::yield();
            }
            clock.advance(i % 2 == 0 ? 80ms : 0ms);
            if (i % 7 == 0) {
                host.failSystem("gone");
                QCoreApplication::processEvents();
            }
            service.stopMicrophoneCapture();
            service.stopSystemCapture();
            isStopped = true;
            QCoreApplication::processEvents();
        }
        QCOMPARE(lateEvents.load(), 0);
        QVERIFY(!service.isCapturing() && !service.isMicCapturing());
    }
};

QTEST_GUILESS_MAIN(CaptureThreadsTest)
#include "CaptureThreadsTest.moc"
