#include "Platform/Network/SendQueue.h"

#include <QTest>

using platform::SendQueue;
using Payload = platform::WebSocketTask::Payload;
using namespace std::chrono_literals;

namespace {

// Frames are numbered as they are pushed, one each 100 ms: "b" for sound, "t" for a command.
struct Fixture {
    SendQueue queue;
    SendQueue::Time now{};
    int pushed = 0;

    void push(Payload kind, qsizetype size = 1) {
        const auto name = (kind == Payload::text ? "t" : "b") + QByteArray::number(pushed++);
        queue.push({kind, name.leftJustified(size), {}}, now);
        now += 100ms;
    }
    void pushSound(int count, qsizetype size = 1) {
        for (int i = 0; i < count; ++i) {
            push(Payload::binary, size);
        }
    }
    QByteArrayList takeAll() {
        QByteArrayList names;
        while (auto frame = queue.take(now)) {
            names.append(frame->payload.trimmed());
        }
        return names;
    }
    QByteArrayList takeDropped() {
        QByteArrayList names;
        for (const auto& frame : queue.takeDropped()) {
            names.append(frame.payload.trimmed());
        }
        return names;
    }
};

} // namespace

class SendQueueTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aShortQueueKeepsTheOrderOfTheCalls() {
        Fixture f;
        f.pushSound(2);
        f.push(Payload::text);
        f.pushSound(2);
        f.push(Payload::text);
        QCOMPARE(f.takeAll(), QByteArrayList({"b0", "b1", "t2", "b3", "b4", "t5"}));
    }

    // Commands stay in their order, and the sound that they have overtaken comes after them.
    void noCommandWaitsForMoreThanASecondOfSound() {
        Fixture f;
        f.pushSound(30);
        f.push(Payload::text);
        f.push(Payload::text);
        const auto names = f.takeAll();
        QCOMPARE(names.size(), 32);
        QCOMPARE(names.indexOf("t30"), 5);
        QCOMPARE(names.indexOf("t31"), 6);
        QCOMPARE(names.at(7), "b5");
    }

    void theOldestSoundGoesFirst() {
        Fixture f;
        f.pushSound(2);
        f.push(Payload::text);
        f.pushSound(49);
        f.now += 200ms;
        QCOMPARE(f.takeAll().mid(0, 2), QByteArrayList({"t2", "b4"}));
        QCOMPARE(f.takeDropped(), QByteArrayList({"b0", "b1", "b3"}));
    }

    void bytesAreBounded() {
        Fixture f;
        f.push(Payload::binary, SendQueue::maxSoundBytes + 1); // a single one may be as large as it likes
        QCOMPARE(f.takeDropped(), QByteArrayList());
        f.push(Payload::text, SendQueue::maxSoundBytes);
        f.push(Payload::binary, SendQueue::maxSoundBytes);
        f.push(Payload::binary, 1);
        QCOMPARE(f.takeDropped(), QByteArrayList({"b0", "b2"}));
        QCOMPARE(f.takeAll(), QByteArrayList({"t1", "b3"}));
        QCOMPARE(f.takeDropped(), QByteArrayList());
    }
};

QTEST_GUILESS_MAIN(SendQueueTest)
#include "SendQueueTest.moc"
