#include "LinkFixture.h"

namespace {

const QByteArray setSession = R"({"type":"set_session","session_id":"machine-1"})";

} // namespace

class WebSocketSessionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void audioWaitsForTheConfirmation() {
        for (const char* answer : {R"({"type":"set_session"})", R"({"type":"session_resumed"})"}) {
            LinkFixture link;
            QCOMPARE(link.audioFate(), "refused");
            QVERIFY(link.log.contains("[WS] sendBinary: no active WebSocket task"));
            link.open();
            link.receive(R"({"type":"chat_done"})");
            QCOMPARE(link.audioFate(), "dropped");
            QVERIFY(link.log.contains("[WS] sendBinary: blocked (session not confirmed) — dropping 1 bytes"));
            link.receive(answer);
            QCOMPARE(link.audioFate(), "sent");
            QCOMPARE(link.sockets.last().sentBinaries(), {QByteArray("\0x", 2)});
        }
    }

    // The REST answer of a connection that was replaced must not speak on its successor.
    void handshakeOfAReplacedConnectionStops() {
        LinkFixture link;
        link.connect();
        link.http.setHeld(true);
        link.opens();
        link.breakConnection();
        link.auth->invalidateCachedJWT();
        link.clock.advance(1s);
        // The old handshake's request goes on waiting, the new token comes.
        QCOMPARE(link.http.heldCount(), 2);
        link.http.release(1);
        link.settle();
        QCOMPARE(link.sockets.count(), 2);
        link.opens();
        link.http.setHeld(false);
        link.settle();
        QCOMPARE(link.sessionRequests, 2);
        QCOMPARE(link.sockets.peer(0).sentTexts(), QList<QByteArray>());
        QCOMPARE(link.sockets.peer(1).sentTexts(), {setSession});
    }

    // The user who signed out meanwhile hears nothing of it.
    void recoveryThatFails() {
        for (const bool signsOut : {false, true}) {
            LinkFixture link;
            link.open();
            QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
            link.sessionStatus = 503;
            link.http.setHeld(true);
            link.receive(R"({"type":"error","message":"Session not found"})");
            if (signsOut) {
                link.service->disconnect();
            }
            link.settle();
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.service->isConnected(), !signsOut);
            QCOMPARE(notFound.value(0).value(0).toString(), signsOut ? "" : "session recovery failed");
        }
    }
};

QTEST_GUILESS_MAIN(WebSocketSessionTest)
#include "WebSocketSessionTest.moc"
