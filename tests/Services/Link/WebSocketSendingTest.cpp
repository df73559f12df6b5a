#include "LinkFixture.h"

#include <atomic>
#include <thread>

class WebSocketSendingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void withoutAConnection() {
        LinkFixture link;
        const auto refusal = [](QCoro::Task<void> task) {
            try {
                waitFor(std::move(task));
            } catch (const platform::WebSocketError& error) {
                return error.kind() == platform::WebSocketError::Kind::notConnected;
            }
            return false;
        };
        QVERIFY(refusal(link.service->send(WSCommand::newChat())));
        QVERIFY(refusal(link.service->sendCandidateSpeechStart()));
        QVERIFY(refusal(link.service->sendCandidateSpeechStop(1)));
        QVERIFY(refusal(link.service->sendBinary("x", 0)));
        QCOMPARE(link.log.lines(),
                 QStringList({QStringLiteral("[WS] Cannot send — no active WebSocket task"),
                              QStringLiteral("[WS] sendCandidateSpeechStart: no active WebSocket task"),
                              QStringLiteral("[WS] sendCandidateSpeechStop: no active WebSocket task"),
                              QStringLiteral("[WS] sendBinary: no active WebSocket task")}));
    }

    // Text commands do not wait for the server's confirmation.
    void framesAndTheirLines() {
        LinkFixture link;
        link.open();
        link.log.clear();
        waitFor(link.service->send(WSCommand::chat(QStringLiteral("hi"))));
        waitFor(link.service->sendCandidateSpeechStart());
        waitFor(link.service->sendCandidateSpeechStop(1700000000000));
        QCOMPARE(
            link.sockets.last().sentTexts().mid(1),
            QList<QByteArray>({R"({"type":"chat","message":"hi"})", R"({"type":"candidate_speech_start"})",
                               R"({"at":1700000000000,"type":"candidate_speech_stop"})"}));
        QCOMPARE(link.log.lines(),
                 QStringList({QStringLiteral("[WS] Sending: chat"),
                              QStringLiteral("[WS] Sending: candidate_speech_start"),
                              QStringLiteral("[WS] Sending: candidate_speech_stop at=1700000000000")}));
        link.confirm();
        const QByteArray wav("RIFF\0\xff", 6);
        waitFor(link.service->sendBinary(wav, 1));
        waitFor(link.service->sendBinary({}, 0));
        QCOMPARE(link.sockets.last().sentBinaries(),
                 QList<QByteArray>({QByteArray(1, '\1') + wav, QByteArray(1, '\0')}));
    }

    void failedSendsReachTheCaller() {
        LinkFixture link;
        link.open();
        link.confirm();
        link.sockets.last().setSendError(
            platform::WebSocketError(FakeWebSocketPeer::ErrorKind::connectionLost, QStringLiteral("gone")));
        QCOMPARE(failureOf(link.service->send(WSCommand::endInterview())), QStringLiteral("gone"));
        QCOMPARE(failureOf(link.service->sendBinary("x", 0)), QStringLiteral("gone"));
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
            link.sockets.last().open();
            link.settle();
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
        QCOMPARE(link.audioFate(), QStringLiteral("sent"));
    }
};

QTEST_GUILESS_MAIN(WebSocketSendingTest)
#include "WebSocketSendingTest.moc"
