#include "Utilities/Pcm16.h"
#include "Utilities/SignalLevel.h"
#include "Utilities/WAVEncoder.h"

#include <QTest>
#include <QtEndian>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

using namespace corvane;

class SampleArithmeticTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void statesTheFormatInTheHeader() {
        for (const auto& [count, rate, channels, header] :
             {std::tuple(3840, 48000U, 1,
                         "241e0000 57415645 666d7420 10000000 0100 0100 80bb0000 00770100 0200"),
              {4, 44100U, 2, "2c000000 57415645 666d7420 10000000 0100 0200 44ac0000 10b10200 0400"}}) {
            const std::vector<float> silence(static_cast<size_t>(count));
            const auto file = WAVEncoder().encode(silence, rate, static_cast<uint16_t>(channels));
            QCOMPARE(file.size(), 44 + 2 * count);
            QCOMPARE(file.first(4), "RIFF");
            QCOMPARE(file.sliced(4, 30), QByteArray::fromHex(header));
            QCOMPARE(file.sliced(34, 6), QByteArray::fromHex("1000 64617461"));
            QCOMPARE(qFromLittleEndian<int>(file.constData() + 40), 2 * count);
        }
    }

    void convertsSamples() {
        using Limits = std::numeric_limits<float>;
        for (const auto& [sample, bytes] : {std::pair(1.0F, "ff7f"),
                                            {Limits::infinity(), "ff7f"},
                                            {Limits::quiet_NaN(), "ff7f"},
                                            {std::nextafter(1.0F, 0.0F), "fe7f"},
                                            {-1.0F, "0180"},
                                            {-Limits::infinity(), "0180"},
                                            {-0.5F, "01c0"},
                                            {1.0F / 32767.0F, "0100"}}) {
            const auto file = WAVEncoder().encode(std::span(&sample, 1), 48000, 1);
            QCOMPARE(file.sliced(44).toHex(), bytes);
        }
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

    void isExactForConstantSignals() {
        for (const float value : {0.012F, 0.035F, 0.003F, -0.012F, 1.0F / 3.0F, 1e-6F}) {
            for (const auto kernel : signalLevelKernels()) {
                for (size_t count = 1; count <= 65536; count *= 2) {
                    const std::vector<float> samples(count, value);
                    const auto [rms, peak] = kernel(samples.data(), count);
                    QCOMPARE(std::bit_cast<uint32_t>(rms), std::bit_cast<uint32_t>(std::abs(value)));
                    QCOMPARE(std::bit_cast<uint32_t>(peak), std::bit_cast<uint32_t>(std::abs(value)));
                }
            }
        }
        QCOMPARE(signalLevel({}).rms + signalLevel({}).peak, 0.0F);
    }

    void agreesWithExactArithmetic() {
        std::mt19937 random(2);
        std::normal_distribution<float> noise(0.0F, 0.1F);
        for (const auto kernel : signalLevelKernels()) {
            for (size_t count = 1; count < 5000; count += 37) {
                std::vector<float> samples(count);
                double sum = 0;
                for (auto& sample : samples) {
                    sample = noise(random);
                    sum += static_cast<double>(sample) * static_cast<double>(sample);
                }
                const auto exact = std::sqrt(sum / static_cast<double>(count));
                const auto measured = static_cast<double>(kernel(samples.data(), count).rms);
                QVERIFY2(std::abs(measured - exact) < exact * 5e-7, qPrintable(QString::number(count)));
            }
        }
    }

    void findsThePeakAnywhere() {
        for (const auto kernel : signalLevelKernels()) {
            for (size_t position = 0; position < 300; ++position) {
                std::vector<float> samples(300, 0.1F);
                samples[position] = -0.7F;
                QCOMPARE(kernel(samples.data(), samples.size()).peak, 0.7F);
            }
        }
    }
};

QTEST_GUILESS_MAIN(SampleArithmeticTest)
#include "SampleArithmeticTest.moc"
