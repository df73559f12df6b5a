#include "TestCertificates.h"
#include "WaitFor.h"
#include "WebSocketPeer.h"
#include "WebSocketProbe.h"

#include <QElapsedTimer>
#include <QTest>

#include <atomic>
#include <thread>

using Kind = platform::WebSocketError::Kind;
using Payload = platform::WebSocketTask::Payload;
using Op = WebSocketPeer::Opcode;

namespace {

// A probe whose connection is open, and the peer at its other end.
struct Link {
    WebSocketServer server;
    WebSocketProbe probe;
    WebSocketPeer* peer = nullptr;

    explicit Link(std::optional<QSslConfiguration> tls = {}, qint64 maxMessageBytes = 1024 * 1024)
        : server(std::move(tls))
        , probe(server.wsUrl(), maxMessageBytes) {
        probe->resume();
        if (!waitUntil([&] { return !probe.said.isEmpty(); }) || server.peers.isEmpty()) {
            qFatal("the link did not open");
        }
        peer = server.peers.first();
    }
};

} // namespace

// What passes over an open connection, and how it ends.
class WebSocketExchangeTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void framesOfTwoThreadsStayInOrder();
    void messagesArriveWhole();
    void pingsAreAnswered();
    void aPingFailsWithItsConnection();
    void endings_data();
    void endings();
    void brokenPeers_data();
    void brokenPeers();
    void aSlowReaderSlowsThePeer();
    void cancelSaysGoodbye();
    void cancelLeavesADeafPeer();
    void destroyedTasksStaySilent_data();
    void destroyedTasksStaySilent();
};

void WebSocketExchangeTest::framesOfTwoThreadsStayInOrder() {
    constexpr int count = 5000;
    const TestCertificates certificates;
    const EnvironmentOverride roots("SSL_CERT_FILE", certificates.authorityFile().toLocal8Bit());
    Link link(certificates.server({QStringLiteral("localhost")}));
    link.peer->echoes = true;
    link.probe.receiveAll();
    std::atomic<int> done = 0;
    std::atomic<int> failed = 0;
    const auto stream = [&](Payload kind) {
        for (int i = 0; i < count; ++i) {
            link.probe->send(kind, QByteArray::number(i) + QByteArray(i % 700, ' '),
                             [&](std::exception_ptr failure) { failure ? ++failed : ++done; });
        }
    };
    std::thread first(stream, Payload::text);
    std::thread second(stream, Payload::binary);
    first.join();
    second.join();
    QVERIFY(waitUntil([&] { return link.probe.messages.size() == 2 * count; }, 30000));
    QCOMPARE(done, 2 * count);
    QCOMPARE(failed, 0);
    int nextText = 0;
    int nextBinary = 0;
    for (const auto& message : link.probe.messages) {
        const int expected = message.isText ? nextText++ : nextBinary++;
        QCOMPARE(message.payload, QByteArray::number(expected) + QByteArray(expected % 700, ' '));
    }
    QCOMPARE(nextText, count);
}

void WebSocketExchangeTest::messagesArriveWhole() {
    Link link;
    const QByteArray large(300'000, 'x');
    link.peer->send(Op::text, "früh "); // before anybody asks
    link.peer->send(Op::text, "in ", false);
    link.peer->send(Op::ping, "between");
    link.peer->send(Op::continuation, "three ", false);
    link.peer->send(Op::continuation, "parts", true);
    link.peer->send(Op::binary, large);
    link.peer->send(Op::text, "");
    link.probe.receiveAll();
    QVERIFY(waitUntil([&] { return link.probe.messages.size() == 4; }));
    QCOMPARE(link.probe.messages.at(0).payload, QByteArray("früh "));
    QCOMPARE(link.probe.messages.at(1).payload, QByteArray("in three parts"));
    QCOMPARE(link.probe.messages.at(2).payload, large);
    QVERIFY(!link.probe.messages.at(2).isText);
    QVERIFY(link.probe.messages.at(3).isText);
    QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::pong) == QList<QByteArray>{"between"}; }));
}

void WebSocketExchangeTest::pingsAreAnswered() {
    Link link;
    QList<int> answered;
    // Beside a write that takes many turns.
    link.probe->send(Payload::binary, QByteArray(3'000'000, 'x'), [](std::exception_ptr) {});
    for (int i = 0; i < 3; ++i) {
        link.probe->sendPing([&, i](std::exception_ptr failure) { answered.append(failure ? -1 : i); });
    }
    QVERIFY(waitUntil([&] { return answered.size() == 3; }));
    QCOMPARE(answered, (QList<int>{0, 1, 2}));
    QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::binary).size() == 1; }));

    // One answer may stand for the pings before it; nobody is fooled by one that was not asked for.
    link.peer->answersPings = false;
    link.peer->send(Op::pong, "999");
    for (int i = 3; i < 5; ++i) {
        link.probe->sendPing([&, i](std::exception_ptr failure) { answered.append(failure ? -1 : i); });
    }
    QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::ping).size() == 5; }));
    QCOMPARE(answered.size(), 3);
    link.peer->send(Op::pong, link.peer->payloadsOf(Op::ping).last());
    QVERIFY(waitUntil([&] { return answered.size() == 5; }));
    QCOMPARE(answered, (QList<int>{0, 1, 2, 3, 4}));
}

void WebSocketExchangeTest::aPingFailsWithItsConnection() {
    Link link;
    link.peer->answersPings = false;
    std::exception_ptr failure;
    link.probe->sendPing([&](std::exception_ptr error) { failure = error; });
    QVERIFY(waitUntil([&] { return !link.peer->payloadsOf(Op::ping).isEmpty(); }));
    QVERIFY(!failure);
    link.peer->drop();
    QVERIFY(waitUntil([&] { return failure != nullptr; }));
    QCOMPARE(kindOf(failure), Kind::connectionLost);
    failure = nullptr;
    QVERIFY(waitUntil([&] { return link.probe.isOver(); }));
    link.probe->sendPing([&](std::exception_ptr error) { failure = error; });
    QVERIFY(waitUntil([&] { return failure != nullptr; }));
}

void WebSocketExchangeTest::endings_data() {
    QTest::addColumn<QByteArray>("closePayload"); // null: the connection breaks
    QTest::addColumn<QString>("closed");
    QTest::addColumn<bool>("clean");
    QTest::newRow("normal") << QByteArray("\x03\xe8") << QStringLiteral("closed 1000") << true;
    QTest::newRow("own code and a reason")
        << QByteArray("\x0f\xa1why") << QStringLiteral("closed 4001") << true;
    QTest::newRow("no code") << QByteArray("") << QStringLiteral("closed 1005") << true;
    QTest::newRow("broken") << QByteArray() << QStringLiteral("closed 1006") << false;
}

void WebSocketExchangeTest::endings() {
    QFETCH(QByteArray, closePayload);
    QFETCH(QString, closed);
    QFETCH(bool, clean);
    Link link;
    link.peer->answersClose = false; // the end is known without the peer hanging up
    link.probe.receiveAll();
    link.peer->send(Op::text, "last words");
    if (closePayload.isNull()) {
        QVERIFY(waitUntil([&] { return link.peer->unsentBytes() == 0; }));
        static_cast<QSslSocket*>(link.peer->parent())->disconnectFromHost();
    } else {
        link.peer->send(Op::close, closePayload);
    }
    QVERIFY(waitUntil([&] { return link.probe.isOver(); }, 1000));
    QCOMPARE(link.probe.messages.size(), 1);
    QCOMPARE(link.probe.said, (QStringList{QStringLiteral("opened"), closed, QStringLiteral("receive failed"),
                                           QStringLiteral("completed")}));
    QCOMPARE(!link.probe.error, clean);
    bool called = false;
    link.probe->send(Payload::text, "late",
                     [&](std::exception_ptr failure) { called = kindOf(failure) == Kind::notConnected; });
    QVERIFY(called); // at once
    if (clean) {
        QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::close).size() == 1; }));
        const bool named = !closePayload.isEmpty();
        QCOMPARE(link.peer->payloadsOf(Op::close).first().left(2), named ? closePayload.left(2) : "\x03\xe8");
    }
}

void WebSocketExchangeTest::brokenPeers_data() {
    QTest::addColumn<int>("opcode");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("closeCode");
    QTest::newRow("too large") << int(Op::text) << QByteArray(1001, 'x') << int(Kind::tooLarge) << 1009;
    QTest::newRow("text that is no UTF-8")
        << int(Op::text) << QByteArray("\xc3\x28") << int(Kind::protocol) << 1007;
    QTest::newRow("reserved opcode") << 3 << QByteArray("x") << int(Kind::protocol) << 1002;
    QTest::newRow("nothing to continue")
        << int(Op::continuation) << QByteArray("x") << int(Kind::protocol) << 1002;
}

void WebSocketExchangeTest::brokenPeers() {
    QFETCH(int, opcode);
    QFETCH(QByteArray, payload);
    QFETCH(int, kind);
    QFETCH(int, closeCode);
    Link link({}, 1000);
    link.probe.receiveAll();
    link.peer->send(Op::text, QByteArray(1000, 'y'));
    link.peer->send(opcode, payload);
    QVERIFY(waitUntil([&] { return link.probe.isOver(); }));
    QCOMPARE(link.probe.messages.size(), 1);
    QCOMPARE(int(link.probe.error.value().kind()), kind);
    QCOMPARE(link.peer->closeCode(), closeCode);
}

void WebSocketExchangeTest::aSlowReaderSlowsThePeer() {
    constexpr int count = 1500;
    Link link;
    for (int i = 0; i < count; ++i) {
        link.peer->send(Op::binary, QByteArray(20'000, static_cast<char>(i % 128)));
    }
    QTest::qWait(300); // nothing reads: what the sockets and the backlog hold is little beside 30 MB
    QVERIFY(link.peer->unsentBytes() > 10'000'000);
    link.probe.receiveAll();
    QElapsedTimer timer;
    timer.start();
    while (link.probe.messages.size() < count && timer.elapsed() < 20000) {
        // Without the pauses of waitUntil: both ends are in this thread.
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    QCOMPARE(link.probe.messages.size(), count);
    for (int i = 0; i < count; ++i) {
        QCOMPARE(link.probe.messages.at(i).payload.at(0), static_cast<char>(i % 128));
    }
}

void WebSocketExchangeTest::cancelSaysGoodbye() {
    Link link;
    link.probe.receiveAll();
    link.probe->cancel(1001);
    std::optional<Kind> kind;
    link.probe->send(Payload::text, "late", [&](std::exception_ptr failure) { kind = kindOf(failure); });
    QCOMPARE(kind, Kind::cancelled);
    QVERIFY(waitUntil([&] { return !link.peer->isConnected(); }));
    QCOMPARE(link.peer->closeCode(), 1001);
    QCOMPARE(link.probe.said, (QStringList{QStringLiteral("opened"), QStringLiteral("receive failed")}));
}

void WebSocketExchangeTest::cancelLeavesADeafPeer() {
    Link link;
    link.peer->setReading(false);
    std::atomic<int> cancelled = 0;
    for (int i = 0; i < 20; ++i) { // more than the sockets take
        link.probe->send(Payload::binary, QByteArray(1'000'000, 'x'), [&](std::exception_ptr failure) {
            cancelled += kindOf(failure) == Kind::cancelled;
        });
    }
    QTest::qWait(100);
    link.probe->cancel(1001);
    QVERIFY(waitUntil([&] { return cancelled > 10; }, 1000));
    link.peer->setReading(true);
    QVERIFY(waitUntil([&] { return !link.peer->isConnected(); }, 4000));
}

void WebSocketExchangeTest::destroyedTasksStaySilent_data() {
    QTest::addColumn<int>("milliseconds");
    for (int milliseconds : {0, 1, 2, 3, 5, 8, 13, 30}) {
        QTest::addRow("after %d ms", milliseconds) << milliseconds;
    }
}

void WebSocketExchangeTest::destroyedTasksStaySilent() {
    QFETCH(int, milliseconds);
    WebSocketServer server;
    std::atomic<int> sendsDone = 0;
    int handlersCalled = 0;
    {
        WebSocketProbe probe(server.wsUrl());
        const auto count = [&](auto&&...) { ++handlersCalled; };
        probe->resume();
        probe->sendPing(count);
        probe->receive(count);
        for (int i = 0; i < 10; ++i) {
            probe->send(Payload::binary, QByteArray(100'000, 'x'), [&](std::exception_ptr) { ++sendsDone; });
        }
        QTest::qWait(milliseconds);
        handlersCalled = 0;
    }
    QVERIFY(waitUntil([&] { return sendsDone == 10; }, 4000)); // an awaiting coroutine is never left behind
    QTest::qWait(20);
    QCOMPARE(sendsDone, 10);
    QCOMPARE(handlersCalled, 0);

    // From inside its own words, too.
    auto probe = std::make_unique<WebSocketProbe>(server.wsUrl());
    connect(probe->operator->(), &WebSocketProbe::Task::opened, this, [&] { probe->destroy(); });
    (*probe)->resume();
    QVERIFY(waitUntil([&] { return !probe->said.isEmpty(); }));
    QTest::qWait(1);
    QCOMPARE(probe->said, QStringList{QStringLiteral("opened")});
}

QTEST_GUILESS_MAIN(WebSocketExchangeTest)
#include "WebSocketExchangeTest.moc"
