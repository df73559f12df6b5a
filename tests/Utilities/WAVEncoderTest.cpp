#include "WAVEncoder.h"
#include "Pcm16.h"
#include "Rows.h"

#include <QTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

class WAVEncoderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void statesTheFormatInTheHeader_data() {
        const auto row = rows<int, quint32, quint16, QByteArray>();
        row("80 ms", 3840, 48000, 1,
            "52494646 241e0000 57415645 666d7420 10000000 0100 0100 80bb0000 00770100 0200 1000 64617461 "
            "001e0000");
        row("stereo", 4, 44100, 2,
            "52494646 2c000000 57415645 666d7420 10000000 0100 0200 44ac0000 10b10200 0400 1000 64617461 "
            "08000000");
    }
    void statesTheFormatInTheHeader() {
        const auto [count, rate, channels, header] = currentRow<int, quint32, quint16, QByteArray>();
        const std::vector<float> silence(static_cast<size_t>(count));
        const auto file = WAVEncoder().encode(silence, rate, channels);
        QCOMPARE(file.size(), 44 + 2 * count);
        QCOMPARE(file.first(44), QByteArray::fromHex(header));
    }

    void convertsSamples_data() {
        const auto row = rows<float, QByteArray>();
        using Limits = std::numeric_limits<float>;
        row("full scale", 1.0F, "ff7f");
        row("above", 2.0F, "ff7f");
        row("infinite", Limits::infinity(), "ff7f");
        row("no number", Limits::quiet_NaN(), "ff7f");
        row("negative no number", -Limits::quiet_NaN(), "ff7f");
        row("just below full scale", std::nextafter(1.0F, 0.0F), "fe7f");
        row("negative full scale", -1.0F, "0180");
        row("below", -2.0F, "0180");
        row("infinite below", -Limits::infinity(), "0180");
        row("half truncated", 0.5F, "ff3f");
        row("negative half truncated", -0.5F, "01c0");
        row("one step", 1.0F / 32767.0F, "0100");
        row("less than a step", 0.999F / 32767.0F, "0000");
        row("denormal", -Limits::denorm_min(), "0000");
        row("negative zero", -0.0F, "0000");
    }
    void convertsSamples() {
        const auto [sample, bytes] = currentRow<float, QByteArray>();
        const auto file = WAVEncoder().encode(std::span(&sample, 1), 48000, 1);
        QCOMPARE(file.sliced(44).toHex(), bytes);
    }

    // Blocks of every length and alignment, special values in any position.
    void convertsAlikeInEveryForm() {
        std::mt19937 random(1);
        std::uniform_int_distribution<uint32_t> anyBits;
        std::uniform_real_distribution<float> audible(-1.1F, 1.1F);
        std::vector<float> samples(200'000);
        for (size_t i = 0; i < samples.size(); ++i) {
            samples[i] = i % 3 == 0 ? std::bit_cast<float>(anyBits(random)) : audible(random);
        }
        const auto expected = [](float x) -> int16_t {
            const float scaled = x >= 1.0F || std::isnan(x) ? 32767.0F : x < -1.0F ? -32767.0F : x * 32767.0F;
            return static_cast<int16_t>(scaled);
        };
        for (const auto kernel : pcm16::kernels()) {
            size_t start = 0;
            for (size_t length = 0; start + length <= samples.size(); start += length++) {
                std::vector<int16_t> out(length + 1, 0x55AA);
                kernel(samples.data() + start, length, std::as_writable_bytes(std::span(out)).data());
                for (size_t i = 0; i < length; ++i) {
                    QCOMPARE(out[i], expected(samples[start + i]));
                }
                QCOMPARE(out[length], int16_t(0x55AA));
            }
        }
    }

    void putsTheFlagInFront() {
        const std::vector<float> samples{0.25F, -0.25F, 1.0F};
        const WAVEncoder encoder;
        const auto frame = encoder.encodeWithFlag(samples, 44100, 0x01);
        QCOMPARE(frame.first(5).toHex(), QByteArray("0152494646"));
        QCOMPARE(frame.sliced(1), encoder.encode(samples, 44100, 1));
        QCOMPARE(encoder.encodeWithFlag({}, 48000, 0x00).size(), 45);
    }
};

QTEST_GUILESS_MAIN(WAVEncoderTest)
#include "WAVEncoderTest.moc"
