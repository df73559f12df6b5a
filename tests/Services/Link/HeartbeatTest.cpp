#include "Services/Heartbeat.h"
#include "tests/Support/FakeClock.h"

#include <QTest>

using namespace corvane;

using namespace std::chrono_literals;

namespace {

struct Fixture {
    FakeClock clock;
    std::vector<Heartbeat::PongHandler> pings;
    platform::ConnectionHealth signs;
    QStringList failures;
    std::optional<Heartbeat> heartbeat;

    Fixture() {
        heartbeat.emplace(
            clock, [this](Heartbeat::PongHandler pong) { pings.push_back(std::move(pong)); },
            [this](const platform::WebSocketTask::HealthHandler& handler) { handler(signs); },
            [this](const QString& reason) {
                failures.append(reason);
                heartbeat.reset();
            });
    }
};

} // namespace

class HeartbeatTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A later pong answers an earlier ping; an earlier one does not answer a check.
    void whichPongAnswersWhat() {
        for (const size_t answered : {size_t(1), size_t(0)}) {
            Fixture f;
            f.clock.advance(30s);
            f.heartbeat->checkNow();
            f.pings.at(answered)(nullptr);
            f.clock.advance(30s);
            QCOMPARE(f.failures.size(), answered == 1 ? 0 : 1);
            QCOMPARE(f.pings.size(), size_t(answered == 1 ? 3 : 2));
        }
    }

    void checkRightBeforeATickKeepsItsTime() {
        Fixture f;
        f.clock.advance(28s);
        f.heartbeat->checkNow();
        f.clock.advance(4s);
        QCOMPARE(f.failures, QStringList());
        f.pings.at(0)(nullptr);
        f.pings.at(1)(nullptr);
        f.clock.advance(20s);
        QCOMPARE(f.failures, QStringList());
    }

    // However often the network changes, the first silence of 5 s ends it.
    void repeatedDoubtsDoNotPostponeTheEnd() {
        Fixture f;
        for (int i = 0; i < 4; ++i) {
            f.heartbeat->checkNow();
            f.clock.advance(1s);
        }
        QCOMPARE(f.pings.size(), size_t(1));
        f.pings.at(0)(nullptr);
        QCOMPARE(f.pings.size(), size_t(2));
        f.clock.advance(5s);
        QCOMPARE(f.failures.size(), 1);
    }

    void aLatePongAloneDoesNotEndTheConnection() {
        Fixture f;
        f.heartbeat->checkNow();
        for (int i = 0; i < 3; ++i) {
            f.clock.advance(4s);
            f.signs.bytesThrough += 100; // the sound ahead of the ping
            f.clock.advance(1s);
        }
        QCOMPARE(f.failures, QStringList());
        f.clock.advance(5s);
        QCOMPARE(f.failures.size(), 1);
    }

    // Nobody can answer; the time counts from when the network is back, during a check or long after it.
    void withoutARouteNothingIsLost() {
        for (const auto gone : {3s, 20s}) {
            Fixture f;
            f.clock.advance(30s);
            f.pings.back()(nullptr);
            f.signs.hasRoute = false;
            f.heartbeat->checkNow();
            f.clock.advance(gone);
            f.signs.hasRoute = true;
            f.heartbeat->checkNow();
            f.clock.advance(4s);
            QCOMPARE(f.failures, QStringList());
            f.clock.advance(4s);
            QCOMPARE(f.failures.size(), 1);
        }
    }

    void errorsAndLateAnswers() {
        Fixture f;
        f.clock.advance(30s);
        f.pings.at(0)(std::make_exception_ptr(std::runtime_error("reset")));
        QCOMPARE(f.failures, QStringList("reset"));
        f.pings.at(0)(nullptr);
        f.clock.advance(60s);
        QCOMPARE(f.failures.size(), 1);
        QCOMPARE(f.clock.timerCount(), 0);
    }
};

QTEST_GUILESS_MAIN(HeartbeatTest)
#include "HeartbeatTest.moc"
