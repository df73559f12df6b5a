#include "PulseInventory.h"
#include "PulseFormat.h"

#include <QTest>

using namespace platform;

class PulseInventoryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void systemSourceIsTheMonitorThatTheSinkNames();
    void systemSourceIsNeverAnInput();
    void systemSourceIsMissingWithoutSinkOrMonitor();
    void microphoneIsTheDefaultInput();
    void everyNativeFormatIsDelivered_data();
    void everyNativeFormatIsDelivered();
};

namespace {

// A microphone that took the name which the speaker's monitor would have by custom.
PulseInventory crookedNames() {
    PulseInventory result;
    result.defaultSink = "speaker";
    result.defaultSource = "speaker.monitor";
    result.sinks = {{.index = 7, .name = "speaker", .description = {}, .monitor = 4}};
    result.sources = {{.index = 3, .name = "speaker.monitor", .description = {}},
                      {.index = 4, .name = "speaker.monitor.2", .description = {}, .monitorOf = 7}};
    return result;
}

} // namespace

void PulseInventoryTest::systemSourceIsTheMonitorThatTheSinkNames() {
    const auto inventory = crookedNames();
    const auto* source = inventory.systemSource();
    QVERIFY(source);
    QCOMPARE(source->index, 4U);
}

void PulseInventoryTest::systemSourceIsNeverAnInput() {
    for (const uint32_t claimed : {PA_INVALID_INDEX, 8U}) {
        auto inventory = crookedNames();
        inventory.sources[1].monitorOf = claimed;
        try {
            inventory.systemSource();
            QFAIL("an input passed for the system's sound");
        } catch (const AudioError& error) {
            QCOMPARE(error.kind(), AudioError::Kind::notAMonitor);
        }
    }
}

void PulseInventoryTest::systemSourceIsMissingWithoutSinkOrMonitor() {
    auto inventory = crookedNames();
    inventory.sinks[0].monitor = PA_INVALID_INDEX;
    QVERIFY(!inventory.systemSource());
    inventory = crookedNames();
    inventory.defaultSink = "another";
    QVERIFY(!inventory.systemSource());
}

void PulseInventoryTest::microphoneIsTheDefaultInput() {
    auto inventory = crookedNames();
    QCOMPARE(inventory.microphone()->index, 3U);
    // Another input is there, but nobody has chosen it.
    inventory.defaultSource = "speaker.monitor.2";
    QVERIFY(!inventory.microphone());
    inventory.defaultSource = {};
    QVERIFY(!inventory.microphone());
}

void PulseInventoryTest::everyNativeFormatIsDelivered_data() {
    QTest::addColumn<int>("native");
    QTest::addColumn<uint32_t>("bits");
    QTest::addColumn<bool>("isFloat");
    QTest::newRow("u8") << int(PA_SAMPLE_U8) << 16U << false;
    QTest::newRow("mu-law") << int(PA_SAMPLE_ULAW) << 16U << false;
    QTest::newRow("s16") << int(PA_SAMPLE_S16LE) << 16U << false;
    QTest::newRow("s16 big endian") << int(PA_SAMPLE_S16BE) << 16U << false;
    QTest::newRow("s24") << int(PA_SAMPLE_S24LE) << 32U << false;
    QTest::newRow("s24 in 32") << int(PA_SAMPLE_S24_32LE) << 32U << false;
    QTest::newRow("s32") << int(PA_SAMPLE_S32LE) << 32U << false;
    QTest::newRow("float") << int(PA_SAMPLE_FLOAT32LE) << 32U << true;
    QTest::newRow("float big endian") << int(PA_SAMPLE_FLOAT32BE) << 32U << true;
}

void PulseInventoryTest::everyNativeFormatIsDelivered() {
    QFETCH(int, native);
    const auto format = deliverableFormat(static_cast<pa_sample_format_t>(native));
    QCOMPARE(deliverableFormat(format), format);
    const auto description = describe({.format = format, .rate = 44100, .channels = 2});
    QTEST(description.bitsPerChannel, "bits");
    QTEST(description.isFloat, "isFloat");
    QCOMPARE(description.sampleRate, 44100.0);
    QCOMPARE(description.channelsPerFrame, 2U);
}

QTEST_GUILESS_MAIN(PulseInventoryTest)
#include "PulseInventoryTest.moc"
