#include "Platform/Audio/PulseInventory.h"
#include "Platform/Core/Completion.h"
#include "tests/Platform/Audio/SoundRecorder.h"

#include "tests/Support/LogCapture.h"

#include <QElapsedTimer>

using namespace platform;

namespace {

// A microphone that took the name which the speaker's monitor would have by custom.
PulseInventory crookedNames() {
    PulseInventory result;
    result.defaultSink = "speaker";
    result.sinks = {{.index = 7, .name = "speaker", .description = {}, .monitor = 4}};
    result.sources = {{.index = 3, .name = "speaker.monitor", .description = {}},
                      {.index = 4, .name = "speaker.monitor.2", .description = {}, .monitorOf = 7}};
    return result;
}

} // namespace

// What goes wrong under a capture, and what must never happen.
class PulseFaultsTest : public SoundTest {
    Q_OBJECT

private Q_SLOTS:
    // A loud microphone has the name that the candidate's monitor has by custom, and the server is told to
    // move the recording onto it.
    void microphoneIsNeverTheSystemsSound() {
        add(false, "candidate.monitor");
        add(true, "candidate");
        choose(true, "candidate");
        const auto call = playSilence("candidate");
        const auto player = play("candidate.monitor.feed");
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        QVERIFY(waitUntil([&] { return recorder.count() > 24000; }));
        const auto open = m_sound->control({"list", "short", "source-outputs"}).split(u'\n');
        // PulseAudio refuses, PipeWire says yes and does nothing.
        try {
            m_sound->control({"move-source-output", open[0].section(u'\t', 0, 0), "candidate.monitor"});
            QCOMPARE(m_sound->kind(), SoundServerKind::pipeWire);
        } catch (const std::runtime_error&) {
            QCOMPARE(m_sound->kind(), SoundServerKind::pulseAudio);
        }
        const auto before = recorder.count();
        QVERIFY(waitUntil([&] { return recorder.count() > before + 24000; }));
        QCOMPARE(recorder.heard(), 0);
    }

    void aMonitorIsNotAMicrophone() {
        add(true, "candidate");
        SoundRecorder recorder;
        QCOMPARE(errorOf(opening(false, recorder)), AudioError::Kind::noDevice);
        add(false, "mic");
        choose(false, "mic");
        const auto stream = start(false, recorder);
        choose(false, "candidate.monitor");
        const auto player = play("candidate");
        QVERIFY(waitUntil([&] { return recorder.stops > 0; }));
        QCOMPARE(recorder.heard(), 0);
    }

    void lastDeviceGoesAway() {
        for (const bool system : {true, false}) {
            const auto device = add(system, "one");
            choose(system, "one");
            SoundRecorder recorder;
            const auto stream = start(system, recorder);
            QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
            m_sound->unloadModule(device);
            // Something of the other kind is loud meanwhile, and must not take its place.
            std::optional<SoundPlayback> player;
            if (system) {
                m_sound->addNoisyMicrophone("noise");
            } else {
                player = play("one.feed");
            }
            QVERIFY(waitUntil([&] { return recorder.stops > 0; }));
            QVERIFY(!recorder.reason.isEmpty());
            QCOMPARE(recorder.heard(), 0);
            QCOMPARE(errorOf(opening(system, recorder)), AudioError::Kind::noDevice);
            QCOMPARE(recorder.stops, 1);
            cleanup();
            init();
        }
    }

    void recordingEndedByTheServerIsOpenedAgain() {
        const auto sink = add(true, "one");
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        // The output goes away and comes back, as when a headset changes its profile.
        m_sound->unloadModule(sink);
        QTest::qWait(300);
        add(true, "one");
        const auto player = play("one");
        QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
        QCOMPARE(recorder.stops, 0);
    }

    void serverIsKilledAndComesBack() {
        addBoth();
        SoundRecorder system;
        SoundRecorder microphone;
        auto systemStream = start(true, system);
        auto microphoneStream = start(false, microphone);
        m_sound->kill();
        QVERIFY(waitUntil([&] { return system.stops > 0 && microphone.stops > 0; }, 1000));
        QCOMPARE(system.reason, "The sound server went away.");
        QCOMPARE(errorOf(m_host->survey()), AudioError::Kind::noServer);
        QCOMPARE(errorOf(m_host->inputs()), AudioError::Kind::noServer);
        QCOMPARE(errorOf(opening(true, system)), AudioError::Kind::noServer);
        QCOMPARE(errorOf(opening(false, microphone)), AudioError::Kind::noServer);

        m_sound->start();
        addBoth();
        systemStream = start(true, system);
        microphoneStream = start(false, microphone);
        const auto before = std::pair(system.count(), microphone.count());
        QVERIFY(
            waitUntil([&] { return system.count() > before.first && microphone.count() > before.second; }));
        QCOMPARE(system.stops + microphone.stops, 2);
    }

    // The stream is open and runs, and nothing comes: without its session manager PipeWire connects nothing.
    void recordingWithoutBuffersEnds() {
        const bool isPipeWire = m_sound->kind() == SoundServerKind::pipeWire;
        add(true, "candidate");
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
        isPipeWire ? m_sound->killSessionManager() : m_sound->freeze();
        QVERIFY(waitUntil([&] { return recorder.stops > 0; }, 8000));
        QVERIFY2(recorder.reason.contains("no longer delivers sound"), qPrintable(recorder.reason));
    }

    void recordingWithoutBuffersIsOpenedAgain() {
        add(true, "candidate");
        LogCapture log;
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
        m_sound->freeze();
        QVERIFY(waitUntil([&] { return log.contains("no longer delivers sound"); }, 4000));
        m_sound->thaw();
        const auto player = play("candidate");
        QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
        QCOMPARE(recorder.stops, 0);
    }

    // The main thread goes on meanwhile.
    void serverThatDoesNotAnswer() {
        add(true, "candidate");
        m_sound->freeze();
        SoundRecorder recorder;
        qint64 longest = 0;
        QTimer ticks;
        QElapsedTimer sinceTick;
        sinceTick.start();
        connect(&ticks, &QTimer::timeout, this, [&] { longest = std::max(longest, sinceTick.restart()); });
        ticks.start(10);
        QCOMPARE(errorOf(opening(true, recorder)), AudioError::Kind::timedOut);
        QVERIFY2(longest < 500, qPrintable(QString::number(longest)));
        m_sound->thaw();
        QVERIFY(start(true, recorder));
    }

    void endAtAnyMoment() {
        add(true, "candidate");
        for (int round = 0; round < 100; ++round) {
            auto recorder = std::make_unique<SoundRecorder>();
            m_host = makePulseAudioHost(m_sound->address());
            auto stopped = opening(true, *recorder);
            // In the middle of the start, at another point in each round.
            QElapsedTimer time;
            time.start();
            while (time.nsecsElapsed() < round * 100'000) {
                QCoreApplication::processEvents();
            }
            m_host.reset();
            try {
                auto stream = ::waitFor(std::move(stopped));
                QTest::qWait(round % 7);
                stream.reset();
            } catch (const OperationCancelled&) {
            } catch (const AudioError&) {
                // A server that is behind with closing has no connection left.
            }
            // Whatever still called a handler would reach freed memory.
            recorder.reset();
        }
        QVERIFY(waitUntil([this] { return list("source-outputs").isEmpty(); }));
    }

    void systemSourceIsTheMonitorThatTheSinkNames() {
        auto inventory = crookedNames();
        QCOMPARE(inventory.systemSource()->index, 4U);
        for (const uint32_t claimed : {PA_INVALID_INDEX, 8U}) {
            inventory.sources[1].monitorOf = claimed;
            QVERIFY_EXCEPTION_THROWN(inventory.systemSource(), AudioError);
        }
        inventory.sinks[0].monitor = PA_INVALID_INDEX;
        QVERIFY(!inventory.systemSource());
        inventory.defaultSink = "another";
        QVERIFY(!inventory.systemSource());
    }

private:
    template<typename T>
    static std::optional<AudioError::Kind> errorOf(QCoro::Task<T> task) {
        try {
            ::waitFor(std::move(task));
        } catch (const AudioError& error) {
            return error.kind();
        }
        return std::nullopt;
    }
};

QTEST_GUILESS_MAIN(PulseFaultsTest)
#include "PulseFaultsTest.moc"
