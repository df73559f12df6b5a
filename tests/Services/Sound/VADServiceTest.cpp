#include "Services/VADService.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/Rows.h"

#include <cmath>
#include <random>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

constexpr size_t hopSize = 1024;
using Hop = std::vector<float>;

Hop clickHop(float peak) {
    Hop hop(hopSize, 0.0038F);
    hop[500] = -peak;
    return hop;
}

// The sounds of a script, by letter.
Hop hopOf(char letter) {
    switch (letter) {
    case 'S': // speech
        return Hop(hopSize, 0.1F);
    case 'n': // noise above the gate
        return Hop(hopSize, 0.005F);
    case 'c': // a click of RMS 0.004 in noise
        return clickHop(0.04F);
    case 'r':
        return Hop(hopSize, 0.012F);
    case 'q':
        return Hop(hopSize, std::nextafter(0.012F, 0.0F));
    case 'p':
        return clickHop(0.035F);
    case 'e':
        return clickHop(std::nextafter(0.035F, 0.0F));
    default:
        return Hop(hopSize);
    }
}

// Plays "7S45." (seven hops of speech, 45 of silence) and gives the events: "<" onset, ">" end, "[n]" a file
// of n hops. "T" lets 180 s pass between two hops, "t" a millisecond less.
class Stage {
public:
    explicit Stage(VadConfig config = interviewVadConfig)
        : m_vad(config, 48000, m_clock) {
        m_vad.onSpeechStart = [this] { m_events += u'<'; };
        m_vad.onSpeechEnd = [this] { m_events += u'>'; };
        m_vad.onSpeechDetected = [this](const QByteArray& wav) {
            const auto hops = static_cast<double>(wav.size() - 44) / (2.0 * hopSize);
            m_events += QStringLiteral("[%1]").arg(hops);
        };
    }

    QString play(const char* script) {
        int count = 0;
        for (const char* c = script; *c; ++c) {
            if (*c >= '0' && *c <= '9') {
                count = 10 * count + (*c - '0');
                continue;
            }
            for (int i = 0; i < std::max(count, 1); ++i) {
                step(*c);
            }
            count = 0;
        }
        return m_events;
    }

private:
    void step(char letter) {
        if (letter == 'T' || letter == 't') {
            m_clock.jump(letter == 'T' ? 180s : 179999ms);
        } else {
            m_vad.processSamples(hopOf(letter));
        }
    }

    FakeClock m_clock;
    VADService m_vad;
    QString m_events;
};

} // namespace

class VADServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void marksSpeech_data() {
        const auto row = rows<QByteArray, QString>();
        row("click", "c45.", "<");
        row("click, then speech", "c45.7S45.", "<<>[52]");
        row("six do not", "6S45.", "<");
        row("a pause belongs to the segment", "4S44.3S45.", "<>[96]");
        row("noise ends speech as silence does", "7S44.n", "<>[52]");
        row("lead-in is bounded", "40.7S45.", "<>[64]");
        row("no lead-in after a segment that did not count", "20.6S45.7S45.", "<<>[52]");
        row("RMS at the threshold", "r", "<");
        row("RMS just below", "q", "");
        row("peak at the threshold", "p", "<");
        row("peak just below", "e", "");
        row("cut after 180 s", "10STS", "<>[11]");
        row("speech goes on after the cut", "10ST8S45.", "<>[11]<>[52]");
        row("too few hops at the cut", "3STS", "<");
        row("gated silence ends it instead", "10ST45.", "<>[55]");
        row("time before the onset does not count", "TSt6S45.", "<>[52]");
    }
    void marksSpeech() {
        const auto [script, events] = currentRow<QByteArray, QString>();
        QCOMPARE(Stage().play(script.constData()), events);
    }

    void gatesBeforeItLooksAtThePeak() {
        auto config = interviewVadConfig;
        config.hopSize = 65536;
        FakeClock clock;
        VADService vad(config, 48000, clock);
        int onsets = 0;
        vad.onSpeechStart = [&onsets] { ++onsets; };
        std::vector<float> hop(65536);
        hop[7] = 0.5F; // RMS 0.00195
        vad.processSamples(hop);
        QCOMPARE(onsets, 0);
        hop[8] = hop[9] = 0.5F; // RMS 0.0034
        vad.processSamples(hop);
        QCOMPARE(onsets, 1);
    }

    void obeysItsConfiguration() {
        auto config = interviewVadConfig;
        config.noiseGateThreshold = config.sensitivityRMS;
        QCOMPARE(Stage(config).play("r"), "<");
        config.enabled = false;
        QCOMPARE(Stage(config).play("20S50."), "");
    }

    void givesTheMemoryOfALongSegmentBack() {
        FakeClock clock;
        VADService vad(interviewVadConfig, 48000, clock);
        qsizetype size = 0;
        vad.onSpeechDetected = [&size](const QByteArray& wav) { size = wav.size(); };
        vad.processSamples(std::vector<float>(180 * 48000, 0.1F));
        vad.processSamples(std::vector<float>(46 * hopSize));
        QVERIFY(size > 2 * 180 * 48000 - 2048);
        QVERIFY(vad.segmentCapacity() < hopSize);
    }

    void cutsTheSameWhateverTheBlocks() {
        std::mt19937 random(3);
        std::uniform_real_distribution<float> voice(-0.5F, 0.5F);
        std::uniform_real_distribution<float> hush(-0.001F, 0.001F);
        std::vector<float> samples;
        for (const auto& [hops, sound] : {std::pair{20, &hush}, {9, &voice}, {46, &hush}}) {
            std::generate_n(std::back_inserter(samples), hops * 1024, [&] { return (*sound)(random); });
        }
        samples.resize(samples.size() + 452);

        const auto segment = std::span<const float>(samples).subspan(8 * hopSize, (12 + 9 + 45) * hopSize);
        for (const size_t block : {1, 7, 1023, 1024, 1025, 2500, 100'000}) {
            FakeClock clock;
            VADService vad(interviewVadConfig, 16000, clock);
            QByteArray file;
            vad.onSpeechDetected = [&file](const QByteArray& wav) { file += wav; };
            for (auto rest = std::span<const float>(samples); !rest.empty();) {
                const auto head = rest.first(std::min(block, rest.size()));
                vad.processSamples(head);
                rest = rest.subspan(head.size());
            }
            QVERIFY2(file == WAVEncoder().encode(segment, 16000, 1), qPrintable(QString::number(block)));
            QCOMPARE(vad.pendingCount(), size_t(452));
        }
    }
};

QTEST_GUILESS_MAIN(VADServiceTest)
#include "VADServiceTest.moc"
