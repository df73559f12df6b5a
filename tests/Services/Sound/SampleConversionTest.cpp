#include "Services/SampleConversion.h"
#include "Services/SampleRingBuffer.h"
#include "tests/Support/Rows.h"

#include <cstring>
#include <numeric>

using namespace corvane;

using platform::AudioStreamDescription;

namespace {

template<typename Sample>
QByteArray bytesOf(std::initializer_list<Sample> samples) {
    return {reinterpret_cast<const char*>(std::data(samples)),
            static_cast<qsizetype>(samples.size() * sizeof(Sample))};
}

QList<float> listOf(std::span<const float> samples) {
    return {samples.begin(), samples.end()};
}

} // namespace

class SampleConversionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void convertsMicrophoneBlocks_data() {
        const auto row = rows<QByteArray, bool, int, int, QList<float>>();
        constexpr float step = 3.0518509e-05F;
        row("float", bytesOf({0.25F, -3.0F}), true, 32, 1, {0.25F, -3.0F});
        row("float, torn sample", bytesOf({0.25F}) + "abc", true, 32, 1, {0.25F});
        row("float stereo", bytesOf({0.5F, -0.5F, 1.0F, 0.5F}), true, 32, 2, {0.0F, 0.75F});
        row("16 bits", bytesOf<int16_t>({32767, -32768, 1}), false, 16, 1,
            {32767.0F * step, -32768.0F * step, step});
        row("16 bits, torn frame", bytesOf<int16_t>({3, 3, 3, 3, 3}), false, 16, 2,
            {3.0F * step, 3.0F * step});
        row("16 bits, three channels", bytesOf<int16_t>({1, 2, 6}), false, 16, 3,
            {(step + 2.0F * step + 6.0F * step) / 3.0F});
        row("32 bits", bytesOf<int32_t>({INT32_MIN, INT32_MAX, 1 << 30}), false, 32, 1, {-1.0F, 1.0F, 0.5F});
        row("24 bits", QByteArray(12, 'x'), false, 24, 1, {});
        row("no channels", bytesOf<int16_t>({1, 2}), false, 16, 0, {});
        row("fewer samples than channels", bytesOf<int16_t>({1, 2}), false, 16, 3, {});
    }
    void convertsMicrophoneBlocks() {
        const auto [block, isFloat, bits, channels, samples] =
            currentRow<QByteArray, bool, int, int, QList<float>>();
        const AudioStreamDescription description{48000.0, static_cast<uint32_t>(channels),
                                                 static_cast<uint32_t>(bits), isFloat};
        std::vector<float> scratch{9.0F, 9.0F, 9.0F, 9.0F, 9.0F};
        const auto bytes = std::as_bytes(std::span(block.constData(), static_cast<size_t>(block.size())));
        QCOMPARE(listOf(conversion::microphoneSamples(bytes, description, scratch)), samples);
    }

    void mixesSystemAudio_data() {
        const auto row = rows<QByteArray, int, QList<float>>();
        row("mono", bytesOf({0.1F, 0.2F}), 1, QList<float>{0.1F, 0.2F});
        row("channels unknown", bytesOf({0.1F, 0.2F}), 0, QList<float>{0.1F, 0.2F});
        row("stereo", bytesOf({-0.5F, 0.5F}), 2, QList<float>{0.0F});
        row("torn frame", bytesOf({0.25F, 0.75F, 0.5F}), 2, QList<float>{0.5F});
        row("fewer floats than channels", bytesOf({0.25F}), 2, QList<float>{});
    }
    void mixesSystemAudio() {
        const auto [block, channels, samples] = currentRow<QByteArray, int, QList<float>>();
        std::vector<float> scratch;
        const auto bytes = std::as_bytes(std::span(block.constData(), static_cast<size_t>(block.size())));
        QCOMPARE(listOf(conversion::systemSamples(bytes, static_cast<uint32_t>(channels), scratch)), samples);
    }

    void readsBlocksAtAnyAddress() {
        alignas(float) std::byte block[9];
        const float values[] = {0.125F, -0.5F};
        std::memcpy(block + 1, values, sizeof values);
        std::vector<float> scratch;
        const auto samples = conversion::systemSamples(std::span(block).subspan(1), 1, scratch);
        QCOMPARE(listOf(samples), (QList<float>{0.125F, -0.5F}));
    }

    void ringKeepsTheNewest() {
        std::vector<float> counting(131072 + 1024);
        std::iota(counting.begin(), counting.end(), 0.0F);
        const std::span<const float> all(counting);
        std::vector<float> drained;
        for (const size_t firstBlock : {size_t(131072), size_t(1000), counting.size()}) {
            SampleRingBuffer ring(131072);
            ring.append(all.first(firstBlock));
            ring.append(all.subspan(firstBlock));
            QCOMPARE(ring.size(), size_t(131072));
            ring.drain(131073, drained);
            QVERIFY(std::ranges::equal(drained, all.subspan(1024)));
            QCOMPARE(ring.size(), size_t(0));
        }
    }

    void ringDrainsAcrossItsEnd() {
        SampleRingBuffer ring(10);
        std::vector<float> drained;
        float next = 0;
        float expected = 0;
        for (int round = 0; round < 50; ++round) {
            const std::array samples{next, next + 1, next + 2, next + 3};
            next += 4;
            ring.append(samples);
            ring.drain(round % 2 == 0 ? 3 : 9, drained);
            for (const float sample : drained) {
                QCOMPARE(sample, expected++);
            }
        }
        QCOMPARE(expected, next);
        ring.drain(3, drained);
        QVERIFY(drained.empty());
    }
};

QTEST_GUILESS_MAIN(SampleConversionTest)
#include "SampleConversionTest.moc"
