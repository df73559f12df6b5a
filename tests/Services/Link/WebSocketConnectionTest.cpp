#include "tests/Services/Link/LinkFixture.h"
#include "tests/Support/Rows.h"

using namespace corvane;

namespace {

const QString otherBackend = QStringLiteral("https://other.example");
const QString skipped = QStringLiteral("[WS] Already connecting — skipping duplicate");

} // namespace

class WebSocketConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void opening() {
        LinkFixture link;
        QSignalSpy connected(link.service.get(), &WebSocketService::isConnectedChanged);
        link.connect();
        QCOMPARE(link.sockets.count(), 1);
        auto& peer = link.sockets.last();
        QVERIFY(peer.isResumed());
        QCOMPARE(peer.url.adjusted(QUrl::RemoveQuery), QUrl("wss://backend.example/ws"));
        const auto token = peer.url.query().section(u'=', 1);
        QVERIFY(token.size() > 20);
        peer.open();
        // Receive loop and ping timer are armed before the field changes.
        QVERIFY(peer.isReceiveArmed());
        QCOMPARE(link.clock.timerCount(), 1);
        QCOMPARE(link.state(), "down in 0 attempt 0");
        link.settle();
        QCOMPARE(link.state(), "connected in 0 attempt 0");
        QCOMPARE(connected.count(), 1);
        QCOMPARE(peer.sentTexts(), {R"({"type":"set_session","session_id":"machine-1"})"});
        QCOMPARE(link.log.lines(),
                 QStringList({"[WS] Opening connection to backend.example",
                              "[WS] Connected (task 1), reconnectAttempts=0", "[WS] Sending: set_session",
                              "[WS] Sent set_session machine-1 — waiting for server confirmation"}));
        link.breakConnection();
        QVERIFY(!link.log.contains(token));
    }

    // A stop that was nobody's refusal ends with what caused it. Only the user ends one after a refusal or a
    // sign-out.
    void whatEndsAStop_data() {
        using Event = std::function<void(LinkFixture&)>;
        const auto row = rows<int, bool, Event, bool>();
        const Event network = [](LinkFixture& link) { link.disturb(); };
        const Event unlock = [](LinkFixture& link) { Q_EMIT link.auth->storeUnlocked(); };
        const Event user = [](LinkFixture& link) { link.service->manualReconnect(); };
        row("network back", -1, false, network, true);
        row("store unlocked", -1, false, unlock, true);
        row("service has recovered", 503, false, network, true);
        row("refused", 401, false, network, false);
        row("refused, store unlocked", 401, false, unlock, false);
        row("refused, asked by the user", 401, false, user, true);
        row("signed out", -1, true, network, false);
    }
    void whatEndsAStop() {
        const auto [status, signsOut, event, ends] =
            currentRow<int, bool, std::function<void(LinkFixture&)>, bool>();
        LinkFixture link;
        link.tokenStatus = status;
        link.connect();
        QCOMPARE(link.log.count("[WS] Failed to get JWT: no such host"), status < 0 ? 1 : 0);
        QCOMPARE(link.state(), "down in 0 attempt 0 Could not fetch session token");
        if (signsOut) {
            link.service->disconnect();
        }
        link.tokenStatus = 200;
        link.clock.advance(60s);
        QCOMPARE(link.tokenRequests, 1);
        event(link);
        link.settle();
        QCOMPARE(link.tokenRequests, ends ? 2 : 1);
        QCOMPARE(link.sockets.count(), ends ? 1 : 0);
        QVERIFY(!ends || link.state() == "down in 0 attempt 0");
    }

    // Its connection may be as dead as the network was, or as the user thinks it is.
    void aRequestUnderWayIsMadeAgain() {
        for (const bool byUser : {false, true}) {
            LinkFixture link;
            link.http.setHeld(true);
            link.connect();
            byUser ? link.service->manualReconnect() : link.disturb();
            link.settle();
            QCOMPARE(link.http.heldCount(), 2);
            link.http.release(1);
            link.settle();
            QCOMPARE(link.sockets.count(), 1);
            // The answer to the first request comes late.
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.sockets.count(), 1);
            QVERIFY(!link.sockets.last().cancelCode());
        }
    }

    // A launch asks twice; whether the token is on its way or the socket opening, there is one of each.
    void askedTwice() {
        for (const bool hasToken : {false, true}) {
            LinkFixture link;
            link.http.setHeld(!hasToken);
            link.connect();
            link.connect();
            QCOMPARE(link.log.count(skipped), 1);
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.tokenRequests, 1);
            QCOMPARE(link.sockets.count(), 1);
            QVERIFY(!link.sockets.last().cancelCode());
        }
    }

    // Also one whose session was never confirmed.
    void theSameAddressReplacesAnOpenConnection() {
        for (const bool confirmed : {true, false}) {
            LinkFixture link;
            link.sessionStatus = confirmed ? 201 : 503;
            link.open();
            if (confirmed) {
                link.confirm();
            }
            QCOMPARE(link.audioFate(), confirmed ? "sent" : "dropped");
            QCOMPARE(link.log.count("[WS] Initial session handshake failed: HTTP error 503"),
                     confirmed ? 0 : 1);
            link.connect();
            QCOMPARE(link.sockets.count(), 2);
            QCOMPARE(link.sockets.peer(0).cancelCode(), std::optional(1001));
            link.sessionStatus = 201;
            link.opens();
            link.confirm();
            QCOMPARE(link.audioFate(), "sent");
            QCOMPARE(link.losses, 0);
        }
    }

    // It shows and backs off, as a server that cannot be reached does, and the line says what is wrong.
    void addressThatCannotBeOpened_data() {
        const auto row = rows<QString>();
        row("backend.example.com", "The address must begin with https:// or http://, in lower case.");
        row("localhost:8000", "The address must begin with https:// or http://, in lower case.");
        row("HTTPS://b.example", "The address must begin with https:// or http://, in lower case.");
        row("https:///api", "The address names no server after https://.");
        row("https://b example", "The address cannot be read. Check it for blanks and typing errors.");
    }
    void addressThatCannotBeOpened() {
        const auto [fault] = currentRow<QString>();
        LinkFixture link;
        link.open();
        link.connect(QString::fromLatin1(QTest::currentDataTag()));
        QCOMPARE(link.sockets.peer(0).cancelCode(), std::optional(1001));
        QCOMPARE(link.state(), "down reconnecting in 1 attempt 1");
        QVERIFY(link.log.contains("[WS] Task completed with error: " + fault));
        link.clock.advance(1s);
        link.settle();
        QCOMPARE(link.state(), "down reconnecting in 2 attempt 2");
        link.open();
        QCOMPARE(link.state(), "connected in 0 attempt 0");
    }

    void anotherAddressReplacesALiveConnection() {
        LinkFixture link;
        link.open();
        link.confirm();
        link.auth->invalidateCachedJWT();
        link.http.setHeld(true);
        link.connect(otherBackend);
        QCOMPARE(link.audioFate(), "sent");
        link.http.release();
        // Runs between the replacement and the end of the old task: its last words.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [&link] {
                QCOMPARE(link.sockets.count(), 2);
                QVERIFY(link.sockets.peer(0).isTaskAlive());
                link.sockets.peer(0).open();
                link.sockets.peer(0).sendText(R"({"type":"set_session"})");
                link.sockets.peer(0).breakConnection();
            },
            Qt::QueuedConnection);
        link.settle();
        QVERIFY(link.log.contains("[WS] Ignoring didOpen for stale task 1 (active: 2)"));
        QCOMPARE(link.sockets.peer(0).cancelCode(), std::optional(1001));
        QCOMPARE(link.sockets.last().url.host(), "other.example");
        QCOMPARE(link.audioFate(), "dropped");
        QCOMPARE(link.losses, 0);
        link.http.setHeld(false);
        link.opens();
        QCOMPARE(link.state(), "connected in 0 attempt 0");
        QCOMPARE(link.sockets.last().sentTexts().size(), 1);
    }

    // That socket goes on as if nothing had been saved; the next one takes the address.
    void addressSavedDuringAnOpen() {
        for (const bool opens : {true, false}) {
            LinkFixture link;
            link.connect();
            link.api->setBaseURL("not an address");
            link.connect(otherBackend);
            QCOMPARE(link.log.count(skipped), 1);
            auto& first = link.sockets.peer(0);
            if (opens) {
                link.opens();
                link.confirm();
                QCOMPARE(link.audioFate(), "sent");
                QCOMPARE(link.http.requests().last().url.host(), "backend.example");
                link.breakConnection();
            } else {
                first.complete(platform::WebSocketError(FakeWebSocketPeer::ErrorKind::cannotConnect, {}));
                link.settle();
            }
            QVERIFY(!first.cancelCode());
            link.clock.advance(1s);
            QCOMPARE(link.sockets.count(), 2);
            QCOMPARE(link.sockets.last().url.host(), "other.example");
        }
    }

    // A sign-out at any moment ends the link for good, and the next sign-in opens a new one.
    void signOutAndIn_data() {
        const auto row = rows<int>();
        row("token on its way", 0);
        row("socket opening", 1);
        row("just opened", 2);
        row("open", 3);
        row("countdown", 4);
    }
    void signOutAndIn() {
        const auto [stage] = currentRow<int>();
        LinkFixture link;
        link.http.setHeld(stage == 0);
        link.connect();
        if (stage >= 2) {
            link.sockets.last().open();
        }
        if (stage >= 3) {
            link.settle();
        }
        if (stage == 4) {
            link.breakConnection();
        }
        const auto lossesBefore = link.losses;
        link.service->disconnect();
        link.http.setHeld(false);
        link.settle();
        link.clock.advance(60s);
        QVERIFY(!link.service->isConnected());
        QVERIFY(!link.service->isReconnecting());
        QCOMPARE(link.losses, lossesBefore);
        QCOMPARE(link.sockets.count(), stage == 0 ? 0 : 1);
        QCOMPARE(link.clock.timerCount(), 0);
        QCOMPARE(link.audioFate(), "refused");
        if (stage > 0) {
            QCOMPARE(link.sockets.last().cancelCode(), std::optional(1001));
            QVERIFY(!link.sockets.last().isTaskAlive());
        }
        link.open();
        QVERIFY(link.service->isConnected());
        QCOMPARE(link.sockets.count(), stage == 0 ? 1 : 2);
    }

    // Also that of a connection that was to replace an open one.
    void refusedToken() {
        for (const bool replacing : {false, true}) {
            LinkFixture link;
            if (replacing) {
                link.open();
            }
            link.connect(otherBackend);
            const auto sockets = link.sockets.count();
            const auto refused = link.sockets.last().url;
            link.sockets.last().complete(
                platform::WebSocketError(FakeWebSocketPeer::ErrorKind::upgradeRefused, "refused"), 401);
            link.settle();
            link.clock.advance(60s);
            QCOMPARE(link.state(), "down in 0 attempt 0 Authentication failed — please sign in again.");
            QCOMPARE(link.log.lines().last(), "[WS] Authentication failed (401) — invalidating JWT");
            QCOMPARE(link.losses, 0);
            QCOMPARE(link.sockets.count(), sockets);
            link.service->manualReconnect();
            link.settle();
            // The refused token is not used again.
            QCOMPARE(link.tokenRequests, 2);
            QVERIFY(link.sockets.last().url != refused);
            link.opens();
            QCOMPARE(link.state(), "connected in 0 attempt 0");
        }
    }

    // An open link is lost, or the network changes, while a token for its successor is on its way.
    void troubleDuringAReplacement() {
        for (const bool isLost : {false, true}) {
            LinkFixture link;
            link.open();
            link.auth->invalidateCachedJWT();
            link.http.setHeld(true);
            link.connect(otherBackend);
            QCOMPARE(link.http.heldCount(), 1);
            if (isLost) {
                link.breakConnection();
            } else {
                link.disturb();
                link.settle();
                // The first request may wait for a network that is gone.
                QCOMPARE(link.http.heldCount(), 2);
            }
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.sockets.count(), 2);
            link.opens();
            QCOMPARE(link.state(), "connected in 0 attempt 0");
        }
    }

    // A long message is parsed on another thread. By then its connection may be lost.
    void aLongMessageOfALostConnection() {
        for (const bool isLost : {false, true}) {
            LinkFixture link;
            link.open();
            QSignalSpy chunks(link.service.get(), &WebSocketService::chatChunk);
            link.sockets.last().sendText(R"({"type":"chat_chunk","text":")" + QByteArray(300'000, 'x') +
                                         R"("})");
            if (isLost) {
                link.sockets.last().breakConnection();
            }
            QVERIFY(waitUntil([&] { return link.log.contains("[WS] Received: chat_chunk"); }));
            link.settle();
            QCOMPARE(chunks.count(), isLost ? 0 : 1);
        }
    }

    void signedOutNoTokenIsAskedFor() {
        LinkFixture link;
        ::waitFor(link.auth->signOut());
        link.connect();
        QCOMPARE(link.log.lines(), QStringList("[WS] Not signed in — abort connect"));
        QCOMPARE(link.state(), "down in 0 attempt 0");
    }

    void serviceMayGoDuringAnything() {
        for (const int stage : {0, 1, 2}) {
            LinkFixture link;
            link.http.setHeld(true);
            link.connect();
            if (stage > 0) {
                link.http.release();
                link.settle();
                link.sockets.last().open();
            }
            if (stage > 1) {
                link.settle();
            }
            link.service.reset();
            link.http.setHeld(false);
            link.settle();
            QCOMPARE(link.sockets.count(), stage > 0 ? 1 : 0);
            QCOMPARE(link.clock.timerCount(), 0);
        }
    }
};

QTEST_GUILESS_MAIN(WebSocketConnectionTest)
#include "WebSocketConnectionTest.moc"
