#include "LinkFixture.h"

namespace {

const QByteArray lostSession = R"({"type":"error","message":"Session not found"})";
const QByteArray setSession = R"({"type":"set_session","session_id":"machine-1"})";

} // namespace

class WebSocketSessionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void audioWaitsForTheConfirmation_data() {
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("new") << QByteArray(R"({"type":"set_session"})");
        QTest::newRow("resumed") << QByteArray(R"({"type":"session_resumed"})");
    }
    void audioWaitsForTheConfirmation() {
        QFETCH(QByteArray, answer);
        LinkFixture link;
        QCOMPARE(link.audioFate(), QStringLiteral("refused"));
        QVERIFY(link.log.contains(QStringLiteral("[WS] sendBinary: no active WebSocket task")));
        link.open();
        link.receive(R"({"type":"chat_done"})");
        QCOMPARE(link.audioFate(), QStringLiteral("dropped"));
        QVERIFY(link.log.contains(
            QStringLiteral("[WS] sendBinary: blocked (session not confirmed) — dropping 1 bytes")));
        link.receive(answer);
        QCOMPARE(link.audioFate(), QStringLiteral("sent"));
        link.service->disconnect();
        link.settle();
        QCOMPARE(link.audioFate(), QStringLiteral("refused"));
    }

    void failedHandshakeLeavesAnOpenSocketWithoutAudio() {
        LinkFixture link;
        link.sessionStatus = 500;
        link.open();
        link.clock.advance(20s);
        QVERIFY(link.log.contains(QStringLiteral("[WS] Initial session handshake failed: HTTP error 500")));
        QCOMPARE(link.state(), QStringLiteral("connected in 0 attempt 0"));
        QCOMPARE(link.sessionRequests, 1);
        QCOMPARE(link.audioFate(), QStringLiteral("dropped"));
        QCOMPARE(link.sockets.last().sentTexts(), QList<QByteArray>());
    }

    void handshakeWhoseCommandCannotBeSent() {
        LinkFixture link;
        link.connect();
        link.sockets.last().setSendError(
            platform::WebSocketError(FakeWebSocketPeer::ErrorKind::connectionLost, QStringLiteral("gone")));
        link.sockets.last().open();
        link.settle();
        QVERIFY(link.log.contains(QStringLiteral("[WS] Initial session handshake failed: gone")));
    }

    void withoutABackendClient() {
        LinkFixture link;
        link.api.reset();
        link.open();
        QVERIFY(
            link.log.contains(QStringLiteral("[WS] No CorvaneAPIService — cannot run session handshake")));
        QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
        link.receive(lostSession);
        QVERIFY(link.log.contains(
            QStringLiteral("[WS] session_not_found but no API service — emitting sessionNotFound")));
        QCOMPARE(notFound.value(0).value(0).toString(), QStringLiteral("session not found"));
    }

    // The REST answer of a connection that was replaced must not speak on its successor.
    void handshakeOfAReplacedConnectionStops() {
        LinkFixture link;
        link.connect();
        link.http.setHeld(true);
        link.sockets.last().open();
        link.settle();
        link.breakConnection();
        link.auth->invalidateCachedJWT();
        link.clock.advance(1s);
        // The old handshake's request goes on waiting, the new token comes.
        QCOMPARE(link.http.heldCount(), 2);
        link.http.release(1);
        link.settle();
        QCOMPARE(link.sockets.count(), 2);
        link.sockets.last().open();
        link.settle();
        link.http.setHeld(false);
        link.settle();
        QCOMPARE(link.sessionRequests, 2);
        QCOMPARE(link.sockets.peer(0).sentTexts(), QList<QByteArray>());
        QCOMPARE(link.sockets.peer(1).sentTexts(), {setSession});
    }

    void recovery() {
        LinkFixture link;
        link.open();
        link.confirm();
        QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
        QSignalSpy errors(link.service.get(), &WebSocketService::wsError);
        link.receive(lostSession);
        QCOMPARE(link.sockets.last().sentTexts(), QList<QByteArray>({setSession, setSession}));
        QVERIFY(link.log.contains(QStringLiteral("[WS] Session not found — re-creating via API")));
        QVERIFY(
            link.log.contains(QStringLiteral("[WS] Re-sent set_session after session recovery: machine-1")));
        QCOMPARE(notFound.count() + errors.count(), 0);
        QVERIFY(link.service->isConnected());
        QCOMPARE(link.audioFate(), QStringLiteral("sent"));
    }

    void recoveryThatFails() {
        LinkFixture link;
        link.open();
        QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
        link.sessionStatus = 503;
        link.receive(lostSession);
        QCOMPARE(notFound.count(), 1);
        QCOMPARE(notFound.value(0).value(0).toString(), QStringLiteral("session recovery failed"));
        QVERIFY(link.log.contains(
            QStringLiteral("[WS] Session recovery failed: HTTP error 503 — notifying observers")));
        QVERIFY(link.service->isConnected());
    }

    void recoveryThatFailsAfterASignOutIsSilent() {
        LinkFixture link;
        link.open();
        QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
        link.sessionStatus = 503;
        link.http.setHeld(true);
        link.receive(lostSession);
        link.service->disconnect();
        link.settle();
        link.http.setHeld(false);
        link.settle();
        QCOMPARE(notFound.count(), 0);
    }
};

QTEST_GUILESS_MAIN(WebSocketSessionTest)
#include "WebSocketSessionTest.moc"
