#include "Platform/Core/Completion.h"
#include "Platform/Core/Dispatch.h"
#include "Platform/Core/OperationScope.h"
#include "Platform/Core/SystemClock.h"
#include "Platform/Core/Tasks.h"
#include "tests/Support/FakeClock.h"
#include "tests/Support/LogCapture.h"
#include "tests/Support/WaitFor.h"

#include <QThread>

#include <thread>

using namespace std::chrono_literals;
using platform::Completion;

namespace {

QCoro::Task<int> valueOf(Completion<int> completion) {
    const auto value = co_await std::move(completion);
    co_return value;
}

QCoro::Task<void> sleepOn(platform::Clock* clock) {
    co_await clock->sleep(1s);
}

struct Owner {
    int sum = 0;
    platform::OperationScope scope;

    QCoro::Task<void> add(Completion<int> completion) {
        const auto ticket = scope.ticket();
        const auto value = co_await std::move(completion);
        ticket.ensureCurrent();
        sum += value;
    }
};

QCoro::Task<void> failing() {
    throw std::runtime_error("out of paper");
    co_return;
}

} // namespace

class CoreTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aCompletionIsResolvedOnce() {
        const Completion<int> early;
        early.resolve(1);
        early.resolve(2);
        QCOMPARE(::waitFor(valueOf(early)), 1);

        const Completion<int> late;
        auto task = valueOf(late);
        late.fail(std::runtime_error("no"));
        late.resolve(3);
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(task)), std::runtime_error);
    }

    void anAbandonedCompletionCancelsItsCoroutine() {
        auto completion = std::make_unique<Completion<int>>();
        auto task = valueOf(*completion);
        completion.reset();
        QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(task)), platform::OperationCancelled);
    }

    // The main thread is held up for five intervals. A timer that counted its interval from each late tick
    // would stay late by that much for good; one that keeps its schedule is soon on time again, even on a
    // busy machine.
    void aRepeatingTimerMakesUpForLateTicks() {
        platform::SystemClock clock;
        constexpr auto interval = 10ms;
        constexpr auto stall = 50ms;
        int ticks = 0;
        auto least = std::chrono::nanoseconds::max();
        // A loop that sleeps until something is due, as the program's does.
        QEventLoop loop;
        const auto start = clock.monotonic();
        const auto timer = clock.repeat(interval, [&] {
            const auto lateness = clock.monotonic() - start - ++ticks * interval;
            QVERIFY(lateness >= 0ns);
            if (ticks == 3) {
                std::this_thread::sleep_for(stall);
            } else if (ticks > 8) {
                least = std::min(least, lateness);
            }
            if (least < stall / 2) {
                loop.quit();
            }
        });
        QTimer::singleShot(5s, &loop, &QEventLoop::quit);
        loop.exec();
        QVERIFY2(least < stall / 2, qPrintable(QString::number(least.count())));
    }

    void whatEscapesABackgroundTaskIsLogged() {
        LogCapture log;
        platform::startTask(failing(), "print");
        QCOMPARE(log.lines(), QStringList{"[Task] print: out of paper"});
        {
            FakeClock clock;
            platform::startTask(sleepOn(&clock), "sleep");
        }
        QCOMPARE(log.lines().size(), 1);
    }

    // Each await of an operation is a place where its owner can go or take another course.
    void anOperationEndsAtItsNextCheckOnceItsOwnerHasMovedOn() {
        for (const bool isGone : {true, false}) {
            auto owner = std::make_unique<Owner>();
            const Completion<int> first;
            auto stale = owner->add(first);
            isGone ? owner.reset() : owner->scope.cancel();
            first.resolve(1);
            QVERIFY_EXCEPTION_THROWN(::waitFor(std::move(stale)), platform::OperationCancelled);
            if (owner) {
                QCOMPARE(owner->sum, 0);
                const Completion<int> second;
                auto current = owner->add(second);
                second.resolve(2);
                ::waitFor(std::move(current));
                QCOMPARE(owner->sum, 2);
            }
        }
    }

    void aLogCallIsOneLine() {
        const LogCapture log;
        platform::logLine(QString("[DeepLink] a\n[Auth] forged\r\u001b[2J\u2028b"));
        QCOMPARE(log.lines(), QStringList{"[DeepLink] a [Auth] forged  [2J b"});
    }

    void workOfAnotherThreadArrivesInOrder() {
        std::vector<int> order;
        std::thread worker([&] {
            for (int i = 0; i < 1000; ++i) {
                platform::dispatchToMain([&order, i] { order.push_back(i); });
            }
        });
        worker.join();
        QVERIFY(order.empty());
        QVERIFY(waitUntil([&] { return order.size() == 1000; }));
        QVERIFY(std::ranges::is_sorted(order));
    }
};

QTEST_GUILESS_MAIN(CoreTest)
#include "CoreTest.moc"
