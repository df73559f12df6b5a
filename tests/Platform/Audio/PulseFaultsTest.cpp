#include "Completion.h"
#include "PrivateSound.h"
#include "PulseSettings.h"
#include "SoundRecorder.h"
#include "WaitFor.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace platform;
using namespace std::chrono_literals;

using Stream = std::unique_ptr<AudioStream>;

// What goes wrong under a capture, and what must never happen.
class PulseFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void microphoneIsNeverTheSystemsSound();
    void monitorIsNoMicrophone();
    void lastDeviceGoesAway_data();
    void lastDeviceGoesAway();
    void recordingEndedByTheServerIsOpenedAgain();
    void serverIsKilledAndComesBack();
    void serverThatDoesNotAnswer();
    void hostGoesAwayDuringAStart();
    void endAtAnyMoment();

private:
    Stream start(bool system, SoundRecorder& recorder);
    // The numbers of this program's recordings in the server.
    QStringList recordings() const;
    template<typename T>
    static std::optional<AudioError::Kind> errorOf(QCoro::Task<T> task);

    std::unique_ptr<PrivateSound> m_sound;
    std::unique_ptr<AudioHost> m_host;
};

void PulseFaultsTest::init() {
    m_sound = std::make_unique<PrivateSound>();
    m_sound->start();
    m_sound->useInThisProcess();
    m_host = makePulseAudioHost(
        PulseSettings{.server = m_sound->address(), .answerLimit = 2000ms, .followLimit = 1000ms});
}

void PulseFaultsTest::cleanup() {
    m_host.reset();
    m_sound.reset();
}

Stream PulseFaultsTest::start(bool system, SoundRecorder& recorder) {
    return ::waitFor(system ? m_host->startSystemStream({}, recorder.handlers())
                            : m_host->startMicrophoneStream(recorder.handlers()));
}

QStringList PulseFaultsTest::recordings() const {
    QStringList result;
    const auto listed = m_sound->control({QStringLiteral("-f"), QStringLiteral("json"),
                                          QStringLiteral("list"), QStringLiteral("source-outputs")});
    for (const auto& each : QJsonDocument::fromJson(listed.toUtf8()).array()) {
        const auto recording = each.toObject();
        if (recording[u"properties"][u"application.name"] == QCoreApplication::applicationName()) {
            result.append(QString::number(recording[u"index"].toInt()));
        }
    }
    return result;
}

template<typename T>
std::optional<AudioError::Kind> PulseFaultsTest::errorOf(QCoro::Task<T> task) {
    try {
        ::waitFor(std::move(task));
    } catch (const AudioError& error) {
        return error.kind();
    }
    return std::nullopt;
}

// A loud microphone has the name that the candidate's monitor has by custom, and the server is told to move
// the recording onto it.
void PulseFaultsTest::microphoneIsNeverTheSystemsSound() {
    m_sound->addMicrophone(QStringLiteral("candidate.monitor"));
    m_sound->addSink(QStringLiteral("candidate"));
    m_sound->setDefaultSink(QStringLiteral("candidate"));
    const auto player = m_sound->playTone(QStringLiteral("candidate.monitor.feed"), 400, 0.9, 20);
    SoundRecorder recorder;
    const auto stream = start(true, recorder);
    QVERIFY(waitUntil([&] { return recorder.count() > 24000; }));

    const auto open = recordings();
    QCOMPARE(open.size(), 1);
    QVERIFY_EXCEPTION_THROWN(m_sound->control({QStringLiteral("move-source-output"), open[0],
                                               QStringLiteral("candidate.monitor")}),
                             std::runtime_error);
    const auto before = recorder.count();
    QVERIFY(waitUntil([&] { return recorder.count() > before + 24000; }));
    QCOMPARE(recorder.heard(), 0);
}

void PulseFaultsTest::monitorIsNoMicrophone() {
    m_sound->addSink(QStringLiteral("candidate"));
    SoundRecorder recorder;
    QCOMPARE(errorOf(m_host->startMicrophoneStream(recorder.handlers())), AudioError::Kind::noDevice);

    m_sound->addMicrophone(QStringLiteral("mic"));
    m_sound->setDefaultSource(QStringLiteral("mic"));
    const auto stream = start(false, recorder);
    m_sound->setDefaultSource(QStringLiteral("candidate.monitor"));
    const auto player = m_sound->playTone(QStringLiteral("candidate"), 400, 0.9, 20);
    QVERIFY(waitUntil([&] { return recorder.stops > 0; }));
    QCOMPARE(recorder.heard(), 0);
}

void PulseFaultsTest::lastDeviceGoesAway_data() {
    QTest::addColumn<bool>("system");
    QTest::newRow("output") << true;
    QTest::newRow("input") << false;
}

void PulseFaultsTest::lastDeviceGoesAway() {
    QFETCH(bool, system);
    const auto device =
        system ? m_sound->addSink(QStringLiteral("one")) : m_sound->addMicrophone(QStringLiteral("one"));
    if (!system) {
        m_sound->setDefaultSource(QStringLiteral("one"));
    }
    SoundRecorder recorder;
    const auto stream = start(system, recorder);
    QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
    m_sound->unloadModule(device);
    // Something of the other kind is loud meanwhile, and must not take its place.
    std::optional<SoundPlayback> player;
    if (system) {
        m_sound->loadModule(QStringLiteral("module-sine-source"));
    } else {
        player = m_sound->playTone(QStringLiteral("one.feed"), 400, 0.9, 20);
    }
    QVERIFY(waitUntil([&] { return recorder.stops > 0; }));
    QVERIFY(!recorder.reason.isEmpty());
    QCOMPARE(recorder.heard(), 0);
    QCOMPARE(errorOf(system ? m_host->startSystemStream({}, recorder.handlers())
                            : m_host->startMicrophoneStream(recorder.handlers())),
             AudioError::Kind::noDevice);
    QCOMPARE(recorder.stops, 1);
}

void PulseFaultsTest::recordingEndedByTheServerIsOpenedAgain() {
    const auto sink = m_sound->addSink(QStringLiteral("one"));
    SoundRecorder recorder;
    const auto stream = start(true, recorder);
    // The output goes away and comes back, as when a headset changes its profile.
    m_sound->unloadModule(sink);
    QTest::qWait(300);
    m_sound->addSink(QStringLiteral("one"));
    const auto player = m_sound->playTone(QStringLiteral("one"), 400, 0.5, 20);
    QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
    QCOMPARE(recorder.stops, 0);
}

void PulseFaultsTest::serverIsKilledAndComesBack() {
    const auto prepare = [this] {
        m_sound->addSink(QStringLiteral("candidate"));
        m_sound->addMicrophone(QStringLiteral("mic"));
        m_sound->setDefaultSource(QStringLiteral("mic"));
    };
    prepare();
    SoundRecorder system;
    SoundRecorder microphone;
    auto systemStream = start(true, system);
    auto microphoneStream = start(false, microphone);
    QElapsedTimer time;
    time.start();
    m_sound->kill();
    QVERIFY(waitUntil([&] { return system.stops > 0 && microphone.stops > 0; }));
    QVERIFY(time.elapsed() < 1000);
    QCOMPARE(system.reason, QStringLiteral("The sound server went away."));

    QCOMPARE(errorOf(m_host->survey()), AudioError::Kind::noServer);
    QCOMPARE(errorOf(m_host->inputs()), AudioError::Kind::noServer);
    QCOMPARE(errorOf(m_host->startSystemStream({}, system.handlers())), AudioError::Kind::noServer);
    QCOMPARE(errorOf(m_host->startMicrophoneStream(microphone.handlers())), AudioError::Kind::noServer);

    m_sound->start();
    prepare();
    systemStream = start(true, system);
    microphoneStream = start(false, microphone);
    system.clear();
    microphone.clear();
    QVERIFY(waitUntil([&] { return system.count() > 0 && microphone.count() > 0; }));
    QCOMPARE(system.stops + microphone.stops, 2);
}

// The main thread goes on meanwhile, and an end in the middle does not wait either.
void PulseFaultsTest::serverThatDoesNotAnswer() {
    m_sound->addSink(QStringLiteral("candidate"));
    m_sound->freeze();
    SoundRecorder recorder;
    QElapsedTimer time;
    time.start();
    auto task = m_host->startSystemStream({}, recorder.handlers());
    QVERIFY(time.elapsed() < 200);
    qint64 longest = 0;
    QTimer ticks;
    QElapsedTimer sinceTick;
    sinceTick.start();
    connect(&ticks, &QTimer::timeout, this, [&] { longest = std::max(longest, sinceTick.restart()); });
    ticks.start(10);
    QCOMPARE(errorOf(std::move(task)), AudioError::Kind::timedOut);
    QVERIFY2(longest < 500, qPrintable(QString::number(longest)));
    m_sound->thaw();
    QVERIFY(start(true, recorder));
}

void PulseFaultsTest::hostGoesAwayDuringAStart() {
    m_sound->addSink(QStringLiteral("candidate"));
    SoundRecorder recorder;
    const auto running = start(true, recorder);
    auto starting = m_host->startSystemStream({}, recorder.handlers());
    auto asking = m_host->survey();
    m_host.reset();
    QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(starting)), OperationCancelled);
    QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(asking)), OperationCancelled);
    // A stream that runs does not need its host.
    const auto before = recorder.count();
    QVERIFY(waitUntil([&] { return recorder.count() > before; }));
}

void PulseFaultsTest::endAtAnyMoment() {
    m_sound->addSink(QStringLiteral("candidate"));
    for (int round = 0; round < 100; ++round) {
        auto recorder = std::make_unique<SoundRecorder>();
        auto host = makePulseAudioHost(m_sound->address());
        auto stopped = host->startSystemStream({}, recorder->handlers());
        // In the middle of the start, at another point in each round.
        QElapsedTimer time;
        time.start();
        while (time.nsecsElapsed() < round * 100'000) {
            QCoreApplication::processEvents();
        }
        host.reset();
        try {
            auto stream = ::waitFor(std::move(stopped));
            QTest::qWait(round % 7);
            stream.reset();
        } catch (const OperationCancelled&) {
        }
        // Whatever still called a handler would reach freed memory.
        recorder.reset();
    }
    QVERIFY(waitUntil([this] { return recordings().isEmpty(); }));
}

QTEST_GUILESS_MAIN(PulseFaultsTest)
#include "PulseFaultsTest.moc"
