#include "Services/SilenceWatch.h"
#include "Services/SoundMeter.h"
#include "tests/Services/Sound/CaptureFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

using platform::AudioOutput;
using platform::AudioSurvey;

namespace {

const std::vector<float> silence(3840);
const std::vector<float> hiss(3840, 0.002F);
const std::vector<float> speech(3840, 0.1F);

const AudioOutput playing{.name = "Headset", .plays = true};

} // namespace

class SilenceWatchTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saysWhyTheCandidateIsNotHeard_data() {
        const auto row = rows<AudioSurvey, QString>();
        row("nothing plays", {1, 0, AudioOutput{.name = "Headset"}, {}}, "no program is playing sound");
        row("elsewhere", {2, 2, AudioOutput{.name = "Headset"}, {"Desk", "TV"}},
            "another output (\"Desk\", \"TV\")");
        row("muted", {1, 1, AudioOutput{.name = "Headset", .muted = true, .plays = true}, {}},
            "the output \"Headset\" is muted");
        row("turned down", {1, 1, AudioOutput{.name = "Headset", .volume = 0.02, .plays = true}, {}},
            "the output \"Headset\" is turned down");
        row("the candidate says nothing", {1, 1, playing, {}}, {});
    }
    void saysWhyTheCandidateIsNotHeard() {
        const auto [survey, reason] = currentRow<AudioSurvey, QString>();
        Stage stage;
        stage.host.surveyResult = survey;
        stage.play(speech, silence, 250);
        QVERIFY2(reason.isEmpty() ? stage.watch.reason().isEmpty() : stage.watch.reason().contains(reason),
                 qPrintable(stage.watch.reason()));
        stage.play(silence, speech, 1);
        QCOMPARE(stage.watch.reason(), QString());
        QVERIFY(stage.host.systemRuns() && stage.host.microphoneRuns());
    }

    void staysQuiet() {
        // Before 20 s, when nobody spoke, and when the candidate is heard.
        const auto cases = {std::tuple(speech, silence, 249), {hiss, silence, 500}, {speech, speech, 500}};
        for (const auto& [microphone, system, chunks] : cases) {
            Stage stage;
            stage.play(microphone, system, chunks);
            QCOMPARE(stage.watch.reason(), QString());
        }
    }

    void forgetsAtAStop() {
        Stage stage;
        stage.play(speech, hiss, 250);
        QVERIFY(!stage.watch.reason().isEmpty());
        stage.service->stopSystemCapture();
        stage.settle();
        QCOMPARE(stage.watch.reason(), QString());
    }

    void meterFollowsItsDevice() {
        FakeAudioHost host;
        FakeClock clock;
        host.microphoneError.emplace(platform::AudioError::Kind::noDevice, "none");
        SoundMeter meter(host, clock, platform::AudioSourceKind::microphone);
        QVERIFY(meter.device().isEmpty());
        host.microphoneError.reset();
        clock.advance(3s);
        host.microphoneMeter().hear("Desk");
        QCOMPARE(meter.device(), "Desk");
        for (const auto& [peak, level] : {std::pair{1.0F, 1.0}, {0.1F, 0.67}, {0.0001F, 0.0}, {0.5F, 0.9}}) {
            host.microphoneMeter().push(std::span(&peak, 1), 25.0, 1);
            QCoreApplication::processEvents();
            QCOMPARE(meter.level(), level);
        }
        host.microphoneMeter().fail("unplugged");
        QCoreApplication::processEvents();
        QVERIFY(meter.device().isEmpty() && meter.level() == 0 && !host.microphoneMeter().runs());
    }

private:
    struct Stage : CaptureFixture {
        SilenceWatch watch{*service, host};

        Stage() {
            host.surveyResult = {1, 0, AudioOutput{.name = "Headset"}, {}};
            startBoth();
        }
        // Chunks of 80 ms of both.
        void play(const std::vector<float>& microphone, const std::vector<float>& system, int chunks) {
            for (int i = 0; i < chunks; ++i) {
                host.pushMicrophone(microphone);
                host.pushSystem(system);
                clock.advance(80ms);
            }
        }
    };
};

QTEST_GUILESS_MAIN(SilenceWatchTest)
#include "SilenceWatchTest.moc"
