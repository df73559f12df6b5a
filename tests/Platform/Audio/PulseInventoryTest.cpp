#include "PulseInventory.h"

#include <QTest>

using namespace platform;

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

class PulseInventoryTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void systemSourceIsTheMonitorThatTheSinkNames() {
        auto inventory = crookedNames();
        QCOMPARE(inventory.systemSource()->index, 4U);
        for (const uint32_t claimed : {PA_INVALID_INDEX, 8U}) {
            inventory.sources[1].monitorOf = claimed;
            QVERIFY_EXCEPTION_THROWN(inventory.systemSource(), AudioError);
        }
        inventory.sinks[0].monitor = PA_INVALID_INDEX;
        QVERIFY(!inventory.systemSource());
        inventory.defaultSink = "another";
        QVERIFY(!inventory.systemSource());
    }

    void microphoneIsTheDefaultInput() {
        auto inventory = crookedNames();
        QCOMPARE(inventory.microphone()->index, 3U);
        // Another input is there, but nobody has chosen it.
        inventory.defaultSource = "speaker.monitor.2";
        QVERIFY(!inventory.microphone());
    }
};

QTEST_GUILESS_MAIN(PulseInventoryTest)
#include "PulseInventoryTest.moc"
