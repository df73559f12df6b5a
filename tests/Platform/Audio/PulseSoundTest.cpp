#include "tests/Platform/Audio/SoundRecorder.h"
#include "tests/Support/Rows.h"

#include <numbers>

using namespace platform;

// What is heard, and whom it follows.
class PulseSoundTest : public SoundTest {
    Q_OBJECT

private Q_SLOTS:
    void systemSoundArrivesWhole_data() {
        const auto row = rows<uint32_t, uint32_t>();
        row("mono", 48000U, 1U);
        row("stereo", 48000U, 2U);
        row("eight channels", 48000U, 8U);
        row("resampled", 44100U, 2U);
    }
    // A tone of a second is found again to the sample: nothing lost, nothing twice, the phase without a step.
    void systemSoundArrivesWhole() {
        const auto [rate, channels] = currentRow<uint32_t, uint32_t>();
        m_sound->addSink("candidate", {.channels = channels, .samples = QStringLiteral("float32le")});
        SoundRecorder recorder;
        const auto stream = ::waitFor(m_host->startSystemStream({.sampleRate = rate}, recorder.handlers()));
        QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
        auto player = m_sound->playTone("candidate", 1000, 0.5, 1.0);
        QVERIFY(player.waitForEnd(10000));
        const auto expected = static_cast<qsizetype>(rate);
        QVERIFY(waitUntil([&] { return recorder.heard() > expected * 9 / 10 && recorder.isSilentNow(); }));

        QCOMPARE(recorder.format().sampleRate, double(rate));
        QCOMPARE(recorder.format().channelsPerFrame, channels);
        QVERIFY(recorder.format().isFloat);
        const auto samples = recorder.samples();
        const auto loud = [](float sample) { return std::abs(sample) > 1e-3F; };
        const auto first = std::ranges::find_if(samples, loud);
        const auto last = std::ranges::find_if(samples.rbegin(), samples.rend(), loud).base();
        // The resampler rounds the two ends.
        const qsizetype margin = rate == 48000U ? 1 : 64;
        QVERIFY2(std::abs((last - first) - expected) <= margin + 1,
                 qPrintable(QString::number(last - first)));
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

    void microphoneKeepsItsFormat_data() {
        const auto row = rows<QString, uint32_t, uint32_t, uint32_t, bool>();
        row("16 bits", "s16le", 44100U, 1U, 16U, false);
        row("float stereo", "float32le", 48000U, 2U, 32U, true);
        row("32 bits", "s32le", 96000U, 1U, 32U, false);
        row("24 bits", "s24le", 48000U, 2U, 32U, false);
        row("telephone", "ulaw", 8000U, 1U, 16U, false);
        row("eight channels", "s16le", 48000U, 8U, 16U, false);
    }
    void microphoneKeepsItsFormat() {
        const auto [native, rate, channels, bits, isFloat] =
            currentRow<QString, uint32_t, uint32_t, uint32_t, bool>();
        m_sound->addMicrophone("mic", {.rate = rate, .channels = channels, .samples = native});
        m_sound->setDefaultSource("mic");
        const auto player = m_sound->playTone("mic.feed", 400, 0.5, 20, rate);
        SoundRecorder recorder;
        const auto stream = start(false, recorder);
        QVERIFY(waitUntil([&] { return recorder.heard() > rate / 2; }));
        const auto format = recorder.format();
        QCOMPARE(format.sampleRate, keepsFormats() ? double(rate) : 48000.0);
        QCOMPARE(format.channelsPerFrame, channels);
        QCOMPARE(format.bitsPerChannel, keepsFormats() ? bits : 32U);
        QCOMPARE(format.isFloat, !keepsFormats() || isFloat);
        const auto samples = recorder.samples();
        const auto level = rms(std::span(samples).last(rate / 4));
        QVERIFY2(std::abs(level - 0.5 / std::numbers::sqrt2) < 0.02, qPrintable(QString::number(level)));
    }

    void followsTheDefault_data() {
        const auto row = rows<bool, bool>();
        row("output chosen", true, false);
        row("output unplugged", true, true);
        row("input chosen", false, false);
        row("input unplugged", false, true);
    }
    void followsTheDefault() {
        const auto [system, unplugged] = currentRow<bool, bool>();
        const auto first = add(system, "one");
        add(system, "two", {.rate = 16000, .channels = 1});
        choose(system, "one");
        // Of two outputs that play neither is taken before it is chosen.
        add(true, "rival");
        const auto rival = play("rival");
        const auto player = play(system ? "two" : "two.feed");
        QVERIFY(waitUntil([&] { return ::waitFor(m_host->survey()).playingStreams == 2; }));
        SoundRecorder recorder;
        const auto stream = start(system, recorder);
        QVERIFY(waitUntil([&] { return recorder.count() > 24000; }));
        QCOMPARE(recorder.heard(), 0);
        if (unplugged) {
            m_sound->unloadModule(first);
        } else {
            choose(system, "two");
        }
        QVERIFY(waitUntil([&] { return recorder.heard() > 0; }, 3000));
        QCOMPARE(recorder.stops, 0);
        QCOMPARE(recorder.format().sampleRate, !system && keepsFormats() ? 16000.0 : 48000.0);
        QCOMPARE(list("source-outputs").count("application.name = \"Sound test\""), 1);
    }

    // The default output is silent and one other plays. A sound of the desktop on the default one is no
    // reason to leave the call; a call there is.
    void hearsTheOutputThatPlays() {
        add(true, "desk");
        add(true, "headset");
        choose(true, "desk");
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        QVERIFY(waitUntil([&] { return recorder.count() > 4800; }));
        auto call = std::optional(play("headset"));
        const auto music = play("headset"); // a second stream is not a second output
        QVERIFY(waitUntil([&] { return recorder.heard() > 0; }, 3000));
        auto ping = m_sound->playTone("desk", 400, 0, 0.5);
        QVERIFY(ping.waitForEnd(10000));
        auto before = recorder.heard();
        QVERIFY(waitUntil([&] { return recorder.heard() > before + 24000; }));

        const auto onDesk = playSilence("desk");
        QVERIFY(waitUntil([&] { return recorder.isSilentNow(); }, 4000));
        call.reset();
        QCOMPARE(recorder.stops, 0);
    }

    // What the user mutes in the mixer stays muted, and nothing else is.
    void streamsAreMutedOneByOne() {
        if (m_sound->kind() == SoundServerKind::pulseAudio) {
            m_sound->loadModule("module-stream-restore");
        }
        addBoth();
        const auto isMuted = [this](const char* id) {
            for (const auto& stream : list("source-outputs").split("Source Output #")) {
                if (stream.contains(id)) {
                    return stream.contains("Mute: yes");
                }
            }
            return false;
        };
        SoundRecorder recorder;
        auto microphone = start(false, recorder);
        const auto streams = list("source-outputs").split("Source Output #");
        const auto ours = streams.filter("test.sound.microphone");
        QCOMPARE(ours.size(), 1);
        m_sound->control({"set-source-output-mute", ours[0].section(u'\n', 0, 0), "1"});
        QVERIFY(waitUntil([&] { return isMuted("test.sound.microphone"); }));
        microphone.reset();
        const auto system = start(true, recorder);
        microphone = start(false, recorder);
        QVERIFY(waitUntil([&] { return isMuted("test.sound.microphone"); }));
        QVERIFY(!isMuted("test.sound.system-audio"));
    }

    void tellsHowLoudASourceIs() {
        addBoth();
        const auto player = play("candidate");
        for (const bool system : {true, false}) {
            SoundRecorder recorder;
            const auto source = system ? AudioSourceKind::systemOutput : AudioSourceKind::microphone;
            const auto meter = ::waitFor(m_host->startMeter(source, recorder.handlers()));
            QVERIFY(waitUntil([&] { return recorder.count() > 20; }));
            const auto peaks = recorder.samples();
            const auto loudest = *std::ranges::max_element(peaks);
            QVERIFY2(std::abs(loudest - (system ? 0.5F : 0.0F)) < 0.05F,
                     qPrintable(QString::number(loudest)));
            // About 25 a second, not samples.
            QVERIFY(peaks.size() < 200);
            QVERIFY(!recorder.devices.isEmpty() && !recorder.devices.last().isEmpty());
        }
    }

    void sleepingOutputIsHeardWhenItWakes() {
        add(true, "candidate");
        if (m_sound->kind() == SoundServerKind::pulseAudio) {
            m_sound->loadModule("module-suspend-on-idle", {"timeout=1"});
        }
        QVERIFY(waitUntil([&] { return list("sinks").contains("State: SUSPENDED"); }));
        SoundRecorder recorder;
        const auto stream = start(true, recorder);
        QTest::qWait(1500);
        const auto player = play("candidate");
        QVERIFY(waitUntil([&] { return recorder.heard() > 0; }));
    }

    void devicesAreListed() {
        add(true, "speaker");
        add(false, "mic");
        choose(false, "mic");
        const auto player = play("speaker");
        QVERIFY(waitUntil([&] { return ::waitFor(m_host->survey()).playingStreams == 1; }));
        QCOMPARE(::waitFor(m_host->survey()).outputs, 2);
        QCOMPARE(::waitFor(m_host->outputs()).size(), 2);
        const auto inputs = ::waitFor(m_host->inputs());
        QCOMPARE(inputs.size(), 1);
        QVERIFY(!inputs[0].name.isEmpty());
        QCOMPARE(::waitFor(m_host->defaultInput()).value().id, inputs[0].id);
        choose(false, "speaker.monitor");
        QVERIFY(!::waitFor(m_host->defaultInput()));
    }

    void nothingIsOpenWhileNothingIsCaptured() {
        add(true, "candidate");
        const auto clients = [this] { return list("clients").count("application.id = \"test.sound\""); };
        SoundRecorder recorder;
        auto stream = start(true, recorder);
        QCOMPARE(clients(), 1);
        stream.reset();
        ::waitFor(m_host->survey());
        QVERIFY(waitUntil([&] { return clients() == 0; }));
        QVERIFY(list("source-outputs").isEmpty());
    }
};

QTEST_GUILESS_MAIN(PulseSoundTest)
#include "PulseSoundTest.moc"
