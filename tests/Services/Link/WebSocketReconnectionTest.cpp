#include "tests/Services/Link/LinkFixture.h"

using namespace corvane;

namespace {

const platform::WebSocketError refused(FakeWebSocketPeer::ErrorKind::cannotConnect, "refused");
const QString exhausted = QStringLiteral("[WS] Max reconnect attempts reached");

} // namespace

class WebSocketReconnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneLossReportedThreeTimes() {
        LinkFixture link;
        link.open();
        link.confirm();
        link.log.clear();
        link.breakConnection();
        QCOMPARE(link.losses, 1);
        QCOMPARE(link.log.lines(), QStringList({"[WS] Receive error: The connection was lost.",
                                                "[WS] Connection closed with code: 1006",
                                                "[WS] Task completed with error: The connection was lost.",
                                                "[WS] Reconnecting in 1 seconds (attempt 1/10)",
                                                "[WS] Disconnect already handled — ignoring duplicate",
                                                "[WS] Disconnect already handled — ignoring duplicate"}));
        QCOMPARE(link.state(), "down reconnecting in 1 attempt 1");
        QCOMPARE(link.audioFate(), "dropped");
        QCOMPARE(link.clock.timerCount(), 1); // the countdown alone
        link.clock.advance(1s);
        QCOMPARE(link.sockets.count(), 2);
        QCOMPARE(link.state(), "down reconnecting in 0 attempt 1");
        link.opens();
        QCOMPARE(link.state(), "connected in 0 attempt 0");
        link.receive(R"({"type":"session_resumed"})");
        link.breakConnection();
        QCOMPARE(link.losses, 2);
    }

    void backendThatNeverAnswers() {
        LinkFixture link;
        QSignalSpy countdown(link.service.get(), &WebSocketService::reconnectCountdownChanged);
        link.connect();
        int attempt = 0;
        for (const int wait : {1, 2, 4, 8, 16, 30, 30, 30, 30, 30}) {
            ++attempt;
            link.sockets.last().complete(refused);
            link.settle();
            QCOMPARE(link.state(),
                     QStringLiteral("down reconnecting in %1 attempt %2").arg(wait).arg(attempt));
            link.clock.advance(std::chrono::seconds(wait) - 1ms);
            QCOMPARE(link.service->reconnectCountdown(), 1);
            QCOMPARE(link.sockets.count(), attempt);
            link.clock.advance(1ms);
            QCOMPARE(link.service->reconnectCountdown(), 0);
            QCOMPARE(link.sockets.count(), attempt + 1);
        }
        // Every second of every wait, and every return to 0.
        QCOMPARE(countdown.count(), 1 + 2 + 4 + 8 + 16 + 5 * 30 + 10);
        QCOMPARE(link.log.count(exhausted), 0);
        link.sockets.last().complete(refused);
        link.settle();
        link.clock.advance(120s);
        QCOMPARE(link.log.count(exhausted), 1);
        QCOMPARE(link.state(), "down in 0 attempt 10");
        QCOMPARE(link.sockets.count(), 11);
        link.service->manualReconnect();
        link.settle();
        QCOMPARE(link.state(), "down in 0 attempt 0");
        QCOMPARE(link.sockets.count(), 12);
    }

    // The life of the second connection decides about the second wait: it is forgiven once it was stable, or
    // its session confirmed.
    void whatClearsTheCount() {
        for (const auto& [life, confirmed, attempt] :
             {std::tuple(4999ms, false, 2), {5000ms, false, 1}, {0ms, true, 1}}) {
            LinkFixture link;
            link.open();
            link.breakConnection();
            link.clock.advance(1s);
            link.opens();
            if (confirmed) {
                link.confirm();
            }
            // Not a matter of the wall clock.
            link.clock.jump(1h);
            link.clock.advance(life);
            link.breakConnection();
            QCOMPARE(link.state(), QStringLiteral("down reconnecting in %1 attempt %1").arg(attempt));
        }
    }

    void failedTriesLongAfterAnOpenStartOver() {
        LinkFixture link;
        link.open();
        link.breakConnection();
        for (int i = 0; i < 12; ++i) {
            link.clock.advance(1s);
            link.clock.advance(5s);
            link.sockets.last().complete(refused);
            link.settle();
            QCOMPARE(link.state(), "down reconnecting in 1 attempt 1");
        }
    }

    void impatienceDuringACountdown() {
        for (const bool byButton : {true, false}) {
            LinkFixture link;
            link.open();
            link.breakConnection();
            if (byButton) {
                link.service->manualReconnect();
                link.settle();
            } else {
                link.connect();
            }
            QCOMPARE(link.state(), byButton ? "down in 0 attempt 0" : "down reconnecting in 0 attempt 1");
            QCOMPARE(link.sockets.count(), 2);
            link.clock.advance(10s);
            QCOMPARE(link.sockets.count(), 2);
            QVERIFY(!link.log.contains("skipping duplicate"));
        }
    }

    // A listener that hears of the loss may close the link for good, at once or a moment later.
    void closedAtTheLoss() {
        for (const auto when : {Qt::DirectConnection, Qt::QueuedConnection}) {
            LinkFixture link;
            link.open();
            QObject::connect(link.service.get(), &WebSocketService::disconnected, link.service.get(),
                             &WebSocketService::disconnect, when);
            link.breakConnection();
            link.clock.advance(60s);
            QCOMPARE(link.state(), "down in 0 attempt 0");
            QCOMPARE(link.sockets.count(), 1);
        }
    }

    void disturbedLink() {
        LinkFixture link;
        link.disturb();
        QCOMPARE(link.clock.timerCount(), 0);
        link.open();
        link.disturb();
        link.clock.advance(6s);
        QCOMPARE(link.sockets.last().pingCount(), 1);
        QVERIFY(link.service->isConnected());
        link.sockets.last().setAnswersPings(false);
        link.sockets.last().setSigns({.bytesThrough = 0, .hasRoute = false});
        link.disturb();
        link.clock.advance(6s);
        QVERIFY(link.service->isConnected());
        link.sockets.last().setSigns({});
        link.disturb();
        link.clock.advance(4999ms);
        QVERIFY(link.service->isConnected());
        link.clock.advance(1ms);
        link.settle();
        QCOMPARE(link.state(), "down reconnecting in 1 attempt 1");
        // A countdown is left alone.
        link.disturb();
        link.settle();
        QCOMPARE(link.sockets.count(), 1);
    }
};

QTEST_GUILESS_MAIN(WebSocketReconnectionTest)
#include "WebSocketReconnectionTest.moc"
