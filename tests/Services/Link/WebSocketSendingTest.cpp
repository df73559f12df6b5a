#include "LinkFixture.h"

#include <atomic>
#include <thread>

class WebSocketSendingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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

QTEST_GUILESS_MAIN(WebSocketSendingTest)
#include "WebSocketSendingTest.moc"
