#include "tests/Platform/Network/TestCertificates.h"
#include "tests/Platform/Network/WebSocketProbe.h"
#include "tests/Platform/Network/WebSocketTestPeer.h"
#include "tests/Support/Rows.h"
#include "tests/Support/WaitFor.h"

#include <QElapsedTimer>

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
        if (!probe.starts() || server.peers.isEmpty()) {
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
    void framesOfTwoThreadsStayInOrder() {
        constexpr int count = 2000; // within the bound of what may wait
        const TestCertificates certificates;
        Link link(certificates.server());
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
        QTRY_COMPARE(done.load(), 2 * count);
        QCOMPARE(failed.load(), 0);
        int nextText = 0;
        int nextBinary = 0;
        for (const auto& message : link.probe.messages) {
            const int expected = message.isText ? nextText++ : nextBinary++;
            QCOMPARE(message.payload, QByteArray::number(expected) + QByteArray(expected % 700, ' '));
        }
        QCOMPARE(nextText, count);
    }

    void messagesArriveWhole() {
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
        const QByteArrayList expected{"früh ", "in three parts", large, ""};
        for (int i = 0; i < 4; ++i) {
            QCOMPARE(link.probe.messages.at(i).payload, expected[i]);
            QCOMPARE(link.probe.messages.at(i).isText, i != 2);
        }
        QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::pong) == QList<QByteArray>{"between"}; }));
    }

    void pingsAreAnswered() {
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

        // One answer may count for the pings before it, and one that was not asked for counts for none.
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

    void endings_data() {
        const auto row = rows<QByteArray, QString, bool>();
        row("normal", "\x03\xe8", "closed 1000", true);
        row("own code and a reason", "\x0f\xa1why", "closed 4001", true);
        row("no code", "", "closed 1005", true);
        row("broken", {}, "closed 1006", false);
    }
    void endings() {
        const auto [closePayload, closed, clean] = currentRow<QByteArray, QString, bool>();
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
        QCOMPARE(link.probe.said, (QStringList{"opened", closed, "receive failed", "completed"}));
        QCOMPARE(!link.probe.error, clean);
        bool called = false;
        link.probe->send(Payload::text, "late",
                         [&](std::exception_ptr failure) { called = kindOf(failure) == Kind::notConnected; });
        QVERIFY(called); // at once
        if (clean) {
            QVERIFY(waitUntil([&] { return link.peer->payloadsOf(Op::close).size() == 1; }));
            const bool named = !closePayload.isEmpty();
            QCOMPARE(link.peer->payloadsOf(Op::close).first().left(2),
                     named ? closePayload.left(2) : "\x03\xe8");
        }
    }

    void signsTellWhatGotThrough() {
        Link link;
        std::vector<platform::ConnectionHealth> signs;
        const auto read = [&] {
            const auto known = signs.size();
            link.probe->readHealth([&](platform::ConnectionHealth now) { signs.push_back(now); });
            return waitUntil([&] { return signs.size() > known; });
        };
        QVERIFY(read());
        link.probe->send(Payload::binary, QByteArray(100'000, 'x'), [](std::exception_ptr) {});
        QVERIFY(waitUntil([&] { return !link.peer->frames.isEmpty(); }));
        QVERIFY(waitUntil(
            [&] { return read() && signs.back().bytesThrough >= signs[0].bytesThrough + 100'000; }));
        QVERIFY(signs.back().hasRoute);
        link.probe->readHealth([](platform::ConnectionHealth) { QFAIL("after the end"); });
        link.probe->cancel(1000);
        QVERIFY(waitUntil([&] { return link.peer->closeCode() == 1000; }));
    }

    void aSlowReaderSlowsThePeer() {
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

    void cancelSaysGoodbye() {
        Link link;
        link.probe.receiveAll();
        link.probe->cancel(1001);
        std::optional<Kind> kind;
        link.probe->send(Payload::text, "late", [&](std::exception_ptr failure) { kind = kindOf(failure); });
        QCOMPARE(kind, Kind::cancelled);
        QVERIFY(waitUntil([&] { return !link.peer->isConnected(); }));
        QCOMPARE(link.peer->closeCode(), 1001);
        QCOMPARE(link.probe.said, (QStringList{"opened", "receive failed"}));
    }

    void cancelLeavesADeafPeer() {
        Link link;
        link.peer->setReading(false);
        std::atomic<int> cancelled = 0;
        for (int i = 0; i < 20; ++i) { // more than the sockets take
            link.probe->send(Payload::text, QByteArray(1'000'000, 'x'), [&](std::exception_ptr failure) {
                cancelled += kindOf(failure) == Kind::cancelled;
            });
        }
        QTest::qWait(100);
        link.probe->cancel(1001);
        QVERIFY(waitUntil([&] { return cancelled > 10; }, 1000));
        link.peer->setReading(true);
        QVERIFY(waitUntil([&] { return !link.peer->isConnected(); }, 4000));
    }

    void destroyedTasksStaySilent() {
        WebSocketServer server;
        for (const int milliseconds : {0, 1, 2, 3, 5, 8, 13, 30}) {
            std::atomic<int> sendsDone = 0;
            int handlersCalled = 0;
            std::optional<WebSocketProbe> probe;
            probe.emplace(server.wsUrl());
            const auto count = [&](auto&&...) { ++handlersCalled; };
            auto& task = **probe;
            task.resume();
            task.sendPing(count);
            task.receive(count);
            for (int i = 0; i < 10; ++i) {
                task.send(Payload::binary, QByteArray(100'000, 'x'),
                          [&](std::exception_ptr) { ++sendsDone; });
            }
            QTest::qWait(milliseconds);
            handlersCalled = 0;
            probe.reset();
            QTRY_COMPARE(sendsDone.load(), 10); // an awaiting coroutine is never left behind
            // What the network thread had still to say of it has arrived before what it says of the next one.
            WebSocketProbe next(server.wsUrl());
            QVERIFY(next.starts());
            QCOMPARE(handlersCalled, 0);
        }

        // From inside its own words, too.
        auto probe = std::make_unique<WebSocketProbe>(server.wsUrl());
        connect(probe->operator->(), &WebSocketProbe::Task::opened, this, [&] { probe->destroy(); });
        (*probe)->resume();
        QVERIFY(waitUntil([&] { return !probe->said.isEmpty(); }));
        WebSocketProbe next(server.wsUrl());
        QVERIFY(next.starts());
        QCOMPARE(probe->said, QStringList{"opened"});
    }
};

QTEST_GUILESS_MAIN(WebSocketExchangeTest)
#include "WebSocketExchangeTest.moc"
