#include "tests/Services/Link/LinkFixture.h"

#include <atomic>
#include <thread>

using namespace corvane;

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

    // A user who signed out meanwhile hears nothing of it, nor does an interview whose link was lost: the
    // next link has a handshake of its own.
    void recoveryThatFails() {
        for (const auto meanwhile : {"", "signs out", "loses the link"}) {
            const QString event(meanwhile);
            LinkFixture link;
            link.open();
            QSignalSpy notFound(link.service.get(), &WebSocketService::sessionNotFound);
            link.sessionStatus = 503;
            link.http.setHeld(true);
            link.receive(R"({"type":"error","message":"Session not found"})");
            if (event == "signs out") {
                link.service->disconnect();
            } else if (event == "loses the link") {
                link.breakConnection();
            }
            link.settle();
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.service->isConnected(), event.isEmpty());
            QCOMPARE(notFound.value(0).value(0).toString(), event.isEmpty() ? "session recovery failed" : "");
        }
    }

    void soundThatASlowUplinkDroppedIsCounted() {
        LinkFixture link;
        link.open();
        link.confirm();
        link.sockets.last().setSendError(
            platform::WebSocketError(FakeWebSocketPeer::ErrorKind::congested, "too slow"));
        for (int i = 0; i < 250; ++i) {
            link.clock.advance(80ms);
            int failed = 0;
            link.service->sendBinary("x", 0,
                                     [&](const std::exception_ptr& error) { failed += error ? 1 : 0; });
            QCOMPARE(failed, 1);
        }
        QCOMPARE(link.log.lines().filter("too slow"),
                 QStringList({"[WS] The network is too slow: 1 chunks of sound dropped so far",
                              "[WS] The network is too slow: 126 chunks of sound dropped so far"}));
        QVERIFY(link.service->isConnected());
    }

    // Sound threads send while the main thread loses, replaces and drops the connection.
    void audioFromOtherThreads() {
        LinkFixture link;
        link.open();
        link.confirm();
        constexpr int frames = 2000;
        std::atomic<int> done = 0;
        std::atomic<int> started = 0;
        const auto stream = [&](quint8 flag) {
            ++started;
            for (int i = 0; i < frames; ++i) {
                link.service->sendBinary(QByteArray::number(i), flag,
                                         [&done](const std::exception_ptr&) { ++done; });
            }
        };
        std::thread microphone(stream, quint8(0));
        std::thread system(stream, quint8(1));
        while (started < 2) {
            std::this_thread::yield();
        }
        for (int i = 0; i < 10; ++i) {
            link.breakConnection();
            link.clock.advance(1s);
            link.opens();
            link.confirm();
        }
        microphone.join();
        system.join();
        QCOMPARE(done.load(), 2 * frames);
        for (int i = 0; i < link.sockets.count(); ++i) {
            QHash<char, int> last{{0, -1}, {1, -1}};
            for (const auto& frame : link.sockets.peer(i).sentBinaries()) {
                const auto number = frame.mid(1).toInt();
                QVERIFY(number > std::exchange(last[frame.at(0)], number));
            }
        }
        QCOMPARE(link.audioFate(), "sent");
    }
};

QTEST_GUILESS_MAIN(WebSocketSessionTest)
#include "WebSocketSessionTest.moc"
