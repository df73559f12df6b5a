#include "SignalLevel.h"

#include <QTest>

#include <cmath>
#include <random>
#include <vector>

class SignalLevelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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

QTEST_GUILESS_MAIN(SignalLevelTest)
#include "SignalLevelTest.moc"
