#include "PrivateSound.h"
#include "PulseSettings.h"
#include "SoundRecorder.h"
#include "WaitFor.h"

#include <QElapsedTimer>
#include <QTest>

#include <numbers>

using namespace platform;

using Stream = std::unique_ptr<AudioStream>;

// What is heard, and whom it follows.
class PulseSoundTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void systemSoundArrivesWhole_data();
    void systemSoundArrivesWhole();
    void microphoneKeepsItsFormat_data();
    void microphoneKeepsItsFormat();
    void followsTheDefault_data();
    void followsTheDefault();
    void sleepingOutputIsHeardWhenItWakes();
    void devicesAreListed();
    void nothingIsOpenWhileNothingIsCaptured();

private:
    Stream start(bool system, SoundRecorder& recorder);
    QString openRecordings() const {
        return m_sound->control({QStringLiteral("list"), QStringLiteral("source-outputs")});
    }

    std::unique_ptr<PrivateSound> m_sound;
    std::unique_ptr<AudioHost> m_host;
};

void PulseSoundTest::init() {
    m_sound = std::make_unique<PrivateSound>();
    m_sound->start();
    m_sound->useInThisProcess();
    m_host = makePulseAudioHost(m_sound->address(),
                                {.name = QStringLiteral("Sound test"), .id = QStringLiteral("test.sound")});
}

void PulseSoundTest::cleanup() {
    m_host.reset();
    m_sound.reset();
}

Stream PulseSoundTest::start(bool system, SoundRecorder& recorder) {
    return ::waitFor(system ? m_host->startSystemStream({}, recorder.handlers())
                            : m_host->startMicrophoneStream(recorder.handlers()));
}

void PulseSoundTest::systemSoundArrivesWhole_data() {
    QTest::addColumn<uint32_t>("rate");
    QTest::addColumn<uint32_t>("channels");
    QTest::newRow("as the service asks") << 48000U << 1U;
    QTest::newRow("stereo") << 48000U << 2U;
    QTest::newRow("resampled") << 44100U << 1U;
}

// A tone of a second is found again to the sample: nothing lost, nothing twice, the phase without a step.
void PulseSoundTest::systemSoundArrivesWhole() {
    QFETCH(uint32_t, rate);
    QFETCH(uint32_t, channels);
    m_sound->addSink(QStringLiteral("candidate"), {.samples = QStringLiteral("float32le")});
    SoundRecorder recorder;
    const auto stream = ::waitFor(
        m_host->startSystemStream({.sampleRate = rate, .channelCount = channels}, recorder.handlers()));
    QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
    auto player = m_sound->playTone(QStringLiteral("candidate"), 1000, 0.5, 1.0);
    QVERIFY(player.waitForEnd(10000));
    const auto expected = static_cast<qsizetype>(rate);
    QVERIFY(waitUntil([&] { return recorder.heard() > expected * 9 / 10; }));
    QTest::qWait(300);

    QCOMPARE(recorder.format().sampleRate, double(rate));
    QCOMPARE(recorder.format().channelsPerFrame, channels);
    QVERIFY(recorder.format().isFloat);
    const auto samples = recorder.samples();
    const auto loud = [](float sample) { return std::abs(sample) > 1e-3F; };
    const auto first = std::ranges::find_if(samples, loud);
    const auto last = std::ranges::find_if(samples.rbegin(), samples.rend(), loud).base();
    // The resampler rounds the two ends.
    const qsizetype margin = rate == 48000U ? 1 : 64;
    QVERIFY2(std::abs((last - first) - expected) <= margin + 1, qPrintable(QString::number(last - first)));
    double worst = 0;
    for (auto at = margin; at < expected - 2 * margin; ++at) {
        const auto phase = 2.0 * std::numbers::pi * 1000.0 * double(at + (rate == 48000U ? 1 : 0)) / rate;
        worst = std::max(worst, std::abs(double(first[at]) - 0.5 * std::sin(phase)));
    }
    if (rate == 48000U) {
        QVERIFY2(worst < 1e-4, qPrintable(QString::number(worst)));
    }
    QVERIFY(std::abs(rms({first + margin, last - margin}) - 0.5 / std::numbers::sqrt2) < 0.005);
}

void PulseSoundTest::microphoneKeepsItsFormat_data() {
    QTest::addColumn<QString>("native");
    QTest::addColumn<uint32_t>("rate");
    QTest::addColumn<uint32_t>("channels");
    QTest::addColumn<uint32_t>("bits");
    QTest::addColumn<bool>("isFloat");
    QTest::newRow("16 bits") << QStringLiteral("s16le") << 44100U << 1U << 16U << false;
    QTest::newRow("float stereo") << QStringLiteral("float32le") << 48000U << 2U << 32U << true;
    QTest::newRow("32 bits") << QStringLiteral("s32le") << 96000U << 1U << 32U << false;
    QTest::newRow("24 bits") << QStringLiteral("s24le") << 48000U << 2U << 32U << false;
    QTest::newRow("telephone") << QStringLiteral("ulaw") << 8000U << 1U << 16U << false;
}

void PulseSoundTest::microphoneKeepsItsFormat() {
    QFETCH(QString, native);
    QFETCH(uint32_t, rate);
    QFETCH(uint32_t, channels);
    m_sound->addMicrophone(QStringLiteral("mic"), {.rate = rate, .channels = channels, .samples = native});
    m_sound->setDefaultSource(QStringLiteral("mic"));
    const auto player = m_sound->playTone(QStringLiteral("mic.feed"), 400, 0.5, 20, rate);
    SoundRecorder recorder;
    const auto stream = start(false, recorder);
    QVERIFY(waitUntil([&] { return recorder.heard() > rate / 2; }));
    const auto format = recorder.format();
    QCOMPARE(format.sampleRate, double(rate));
    QCOMPARE(format.channelsPerFrame, channels);
    QTEST(format.bitsPerChannel, "bits");
    QTEST(format.isFloat, "isFloat");
    const auto samples = recorder.samples();
    const auto level = rms(std::span(samples).last(rate / 4));
    QVERIFY2(std::abs(level - 0.5 / std::numbers::sqrt2) < 0.02, qPrintable(QString::number(level)));
}

void PulseSoundTest::followsTheDefault_data() {
    QTest::addColumn<bool>("system");
    QTest::addColumn<bool>("unplugged");
    QTest::newRow("output chosen") << true << false;
    QTest::newRow("output unplugged") << true << true;
    QTest::newRow("input chosen") << false << false;
    QTest::newRow("input unplugged") << false << true;
}

void PulseSoundTest::followsTheDefault() {
    QFETCH(bool, system);
    QFETCH(bool, unplugged);
    const SoundFormat narrow{.rate = 16000, .channels = 1};
    quint32 first = 0;
    if (system) {
        first = m_sound->addSink(QStringLiteral("one"));
        m_sound->addSink(QStringLiteral("two"), narrow);
        m_sound->setDefaultSink(QStringLiteral("one"));
    } else {
        first = m_sound->addMicrophone(QStringLiteral("one"));
        m_sound->addMicrophone(QStringLiteral("two"), narrow);
        m_sound->setDefaultSource(QStringLiteral("one"));
    }
    const auto player =
        m_sound->playTone(system ? QStringLiteral("two") : QStringLiteral("two.feed"), 400, 0.5, 30);
    SoundRecorder recorder;
    const auto stream = start(system, recorder);
    QVERIFY(waitUntil([&] { return recorder.count() > 24000; }));
    QCOMPARE(recorder.heard(), 0);

    QElapsedTimer time;
    time.start();
    if (unplugged) {
        m_sound->unloadModule(first);
    } else if (system) {
        m_sound->setDefaultSink(QStringLiteral("two"));
    } else {
        m_sound->setDefaultSource(QStringLiteral("two"));
    }
    QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
    QVERIFY2(time.elapsed() < 3000, qPrintable(QString::number(time.elapsed())));
    QCOMPARE(recorder.stops, 0);
    QCOMPARE(recorder.format().sampleRate, system ? 48000.0 : 16000.0);
    QCOMPARE(openRecordings().count(QStringLiteral("application.name = \"Sound test\"")), 1);
}

void PulseSoundTest::sleepingOutputIsHeardWhenItWakes() {
    m_sound->addSink(QStringLiteral("candidate"));
    m_sound->loadModule(QStringLiteral("module-suspend-on-idle"), {QStringLiteral("timeout=1")});
    QVERIFY(waitUntil([&] {
        return m_sound->control({QStringLiteral("list"), QStringLiteral("sinks")})
            .contains(u"State: SUSPENDED");
    }));
    SoundRecorder recorder;
    const auto stream = start(true, recorder);
    QTest::qWait(1500);
    const auto player = m_sound->playTone(QStringLiteral("candidate"), 400, 0.5, 5);
    QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
}

void PulseSoundTest::devicesAreListed() {
    m_sound->addSink(QStringLiteral("speaker"));
    m_sound->addMicrophone(QStringLiteral("mic"));
    m_sound->setDefaultSource(QStringLiteral("mic"));
    const auto player = m_sound->playTone(QStringLiteral("speaker"), 400, 0.5, 20);
    QVERIFY(waitUntil([&] { return ::waitFor(m_host->survey()).playingStreams == 1; }));
    QCOMPARE(::waitFor(m_host->survey()).outputs, 2);
    QCOMPARE(::waitFor(m_host->outputs()).size(), 2);
    const auto inputs = ::waitFor(m_host->inputs());
    QCOMPARE(inputs.size(), 1);
    QVERIFY(!inputs[0].name.isEmpty());
    const auto chosen = ::waitFor(m_host->defaultInput());
    QVERIFY(chosen);
    QCOMPARE(chosen->id, inputs[0].id);
    m_sound->setDefaultSource(QStringLiteral("speaker.monitor"));
    QVERIFY(!::waitFor(m_host->defaultInput()));
}

void PulseSoundTest::nothingIsOpenWhileNothingIsCaptured() {
    m_sound->addSink(QStringLiteral("candidate"));
    const auto clients = [this] {
        return m_sound->control({QStringLiteral("list"), QStringLiteral("clients")})
            .count(QStringLiteral("application.id = \"test.sound\""));
    };
    SoundRecorder recorder;
    auto stream = start(true, recorder);
    QCOMPARE(clients(), 1);
    stream.reset();
    ::waitFor(m_host->survey());
    QVERIFY(waitUntil([&] { return clients() == 0; }));
    QVERIFY(openRecordings().isEmpty());
}

QTEST_GUILESS_MAIN(PulseSoundTest)
#include "PulseSoundTest.moc"
